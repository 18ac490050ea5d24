#pragma once

#include <QString>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

namespace sync::database {

/// Lets the writers of one process write to a database one at a time, in order of arrival.
///
/// SQLite also admits one writer at a time, but the others have to poll; here the next one is
/// woken. Any thread may leave() for the one that entered.
class WriterQueue
{
public:
    /// The queue of a database file, the same for every caller in this process.
    static std::shared_ptr<WriterQueue> forFile(const QString& canonicalPath);

    /// Waits for its turn; false if that did not come in time.
    bool enter(std::chrono::milliseconds timeout);

    /// Hands the turn to the writer that has waited longest.
    void leave();

    /// True while a writer has the turn.
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
