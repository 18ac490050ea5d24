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
    /// Returns what the operation returns.
    std::function<bool(Managers&)> run;
    /// True if the operation runs several transactions. After a failure, some may be committed.
    bool severalSteps = false;
    /// False for the one operation that always returns false.
    bool reportsSuccess = true;
    /// What the operation does when its read fails and so finds nothing.
    std::function<bool(Managers&)> runWithoutReads = {};
};

/// Each of the 29 write operations, and the operations that combine several of them. An internal
/// operation is called through one in which no other write operation changes a row.
///
/// `samples` holds the samples. The records to store are read from it.
QList<WriteOperation> writeOperations(Managers& samples);

} // namespace sync::test
