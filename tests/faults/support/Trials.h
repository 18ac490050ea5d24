#pragma once
#include <core/PosixSync.h>

#include <QByteArray>
#include <QString>

#include <functional>

namespace sync::test {

/// The size of a suite relative to its usual size: VELMIO_FAULT_SCALE, by default 1.
double faultScale();

/// Runs `standardCount` trials, multiplied by the scale and numbered from 1, or only the trial that
/// VELMIO_FAULT_TRIAL names. The number is the seed of everything random in a trial. A trial that
/// returns a finding fails the current test and is the last one. Returns the number of trials run.
int runTrials(int standardCount, const std::function<QByteArray(quint32 trial)>& findingOf);

/// The first call and the step between calls, for a suite that covers every call at scale 1.
int firstCall();
int everyCallStep();

/// How to repeat a failed trial, for a test message.
QByteArray repeatWith(quint32 trial);

/// A template for temporary folders, in memory if the system supports it.
QString scratchTemplate();

} // namespace sync::test
