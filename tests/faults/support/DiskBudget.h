#pragma once
#include <core/PosixSync.h>

#include "WatchedVfs.h"

#include <mutex>

namespace sync::test {

/// A disk on which the files of SQLite may grow by so many bytes in all, until there is space
/// again.
class DiskBudget : public IoWatcher
{
public:
    explicit DiskBudget(qint64 bytes);

    IoFate before(const IoCall& call) override;

    /// Somebody has made space.
    void lift();

private:
    bool grow(const QByteArray& path, qint64 size);

    std::mutex mutex;
    qint64 bytesLeft;
    bool lifted = false;
};

} // namespace sync::test
