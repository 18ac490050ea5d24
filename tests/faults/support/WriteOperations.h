#pragma once
#include <core/PosixSync.h>

#include "Managers.h"

#include <QList>
#include <QString>

#include <functional>

namespace sync::test {

/// A write operation of a manager, on the rows of fillWithSamples().
struct WriteOperation
{
    QString name;
    /// What the operation reports.
    std::function<bool(Managers&)> run;
    /// Made of several transactions: when it fails, some of them may have happened and others not.
    bool severalSteps = false;
    /// Whether it ever reports success; one operation returns false in any case.
    bool reportsSuccess = true;
    /// What it does when a failed read has told it that there is nothing.
    std::function<bool(Managers&)> runWithoutReads = {};
};

/// Each of the 29 write operations, and those that are made of several of them. The internal ones
/// are reached through an operation in which no other of them changes a row.
///
/// `samples` is filled with the samples; the records to be stored are read from it.
QList<WriteOperation> writeOperations(Managers& samples);

} // namespace sync::test
