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

    /// Removes the limit.
    void lift();

private:
    bool grow(const QByteArray& path, qint64 size);

    std::mutex mutex;
    qint64 bytesLeft;
    bool lifted = false;
};

} // namespace sync::test
