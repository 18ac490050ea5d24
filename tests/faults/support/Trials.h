#pragma once
#include <core/PosixSync.h>

#include <QByteArray>
#include <QList>
#include <QString>

namespace sync::test {

/// How much of a suite is run: 1, or VELMIO_FAULT_SCALE. What the gates run is 1.
double faultScale();

/// The numbers of `count` trials of a suite, more or fewer by the scale: 1 and up; or the one that
/// VELMIO_FAULT_TRIAL names. A number is the seed of all that is random in its trial.
QList<quint32> trialNumbers(int count);

/// Where a suite begins that takes every call at the scale 1, and its step from call to call.
int firstCall();
int everyCallStep();

/// How to repeat a trial that failed, for the message of a test.
QByteArray repeatWith(quint32 trial);

/// A template for temporary folders, in memory where the system has such a place.
QString scratchTemplate();

} // namespace sync::test
