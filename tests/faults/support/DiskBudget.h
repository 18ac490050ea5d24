#pragma once
#include <core/PosixSync.h>

#include "WatchedVfs.h"

#include <mutex>

namespace sync::test {

/// A disk on which SQLite's files may grow by a limited number of bytes in total.
class DiskBudget : public IoWatcher
{
public:
    explicit DiskBudget(qint64 bytes);

    IoFate before(const IoCall& call) override;

    /// Takes space for a file that grows; false if there is not enough.
    bool spend(qint64 bytes);

    /// Removes the limit.
    void lift();

private:
    bool grow(const QByteArray& path, qint64 size);
    bool take(qint64 growth);

    std::mutex mutex;
    qint64 bytesLeft;
    bool lifted = false;
};

} // namespace sync::test
