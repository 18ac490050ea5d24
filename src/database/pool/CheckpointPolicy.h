#pragma once

#include <database/pool/Checkpointer.h>

#include <chrono>

namespace sync::database {

/// Decides when the WAL of a store is checkpointed, and how long the writers wait for it.
///
/// The turn of the writer queue guards it.
class CheckpointPolicy
{
public:
    explicit CheckpointPolicy(const QString& path);

    /// Checkpoints if the WAL is long enough; `walPages` is its length after the last commit. The
    /// caller has the turn and no transaction.
    void runIfDue(int walPages) noexcept;

    /// Checkpoints in any case, as Checkpointer::run() does.
    void run(std::chrono::milliseconds limit) noexcept { checkpointer.run(limit); }

private:
    Checkpointer checkpointer;
    int pagesBefore = 0;
    int dueAtPages;
    std::chrono::milliseconds patience{0};
};

} // namespace sync::database
