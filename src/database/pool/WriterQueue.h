#pragma once

#include <QString>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

namespace sync::database {

/// Lets the writers of one process at a database one at a time, in the order in which they came.
///
/// SQLite lets one writer in as well, but has the others poll; here the next one is woken. Any
/// thread may leave() for the one that entered.
class WriterQueue
{
public:
    /// The queue of a database file, the same for every caller in this process.
    static std::shared_ptr<WriterQueue> forFile(const QString& canonicalPath);

    /// Waits for its turn; false when it did not come in time.
    bool enter(std::chrono::milliseconds timeout);

    /// Hands the turn to the one who has waited longest.
    void leave();

    /// True while somebody has the turn.
    bool isTaken();

    /// How many are waiting for their turn.
    std::size_t waitingCount();

private:
    struct Waiter
    {
        std::condition_variable turnCame;
        bool hasTurn = false;
    };

    std::mutex mutex;
    bool occupied = false;
    std::deque<Waiter*> waiting;
};

} // namespace sync::database
