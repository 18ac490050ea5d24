#pragma once

#include <database/connection/SqliteHandle.h>

#include <QString>

#include <chrono>
#include <mutex>

namespace sync::database {

/// Copies the WAL into the database file, and never while anyone writes.
///
/// SQLite 3.7.0 to 3.51.2 (but 3.44.6 and 3.50.7) can lose committed pages when a connection resets
/// the WAL while another one's checkpoint is running (sqlite.org/wal.html, "The WAL-Reset Bug").
/// Only a writer resets the WAL. So a first connection takes the write lock, which excludes the
/// writers of every thread and process, and meanwhile a second one checkpoints.
class Checkpointer
{
public:
    explicit Checkpointer(const QString& path);

    /// Checkpoints as far as the readers allow. The caller holds the turn of the writer queue and
    /// no transaction. False if it could not run, for instance because another process does not
    /// stop writing.
    ///
    /// The write lock is held for `patience` longer than the copying takes, so that readers leave
    /// the old part of the WAL: only then can it be copied, and the next writer restart the WAL.
    bool run(std::chrono::milliseconds patience) noexcept;

private:
    void open();
    bool copyLog(std::chrono::milliseconds patience) noexcept;

    const QString path;
    std::mutex mutex;
    SqliteHandle writeLock;
    SqliteHandle worker;
};

} // namespace sync::database
