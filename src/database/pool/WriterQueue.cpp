#include <database/pool/WriterQueue.h>

#include <base/LockGuard.h>
#include <base/SharedByKey.h>

#include <algorithm>

namespace sync::database {

std::shared_ptr<WriterQueue> WriterQueue::forFile(const QString& canonicalPath)
{
    static base::SharedByKey<WriterQueue> queues;
    return queues.at(canonicalPath);
}

bool WriterQueue::enter(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(mutex);
    if (!occupied) {
        occupied = true;
        return true;
    }
    Waiter self;
    waiting.push_back(&self);
    if (self.turnCame.wait_for(lock, timeout, [&self] { return self.hasTurn; }))
        return true;
    waiting.erase(std::find(waiting.begin(), waiting.end(), &self));
    return false;
}

void WriterQueue::leave()
{
    const base::LockGuard lock(mutex);
    if (waiting.empty()) {
        occupied = false;
        return;
    }
    Waiter* const next = waiting.front();
    waiting.pop_front();
    next->hasTurn = true;
    next->turnCame.notify_one();
}

bool WriterQueue::isTaken()
{
    const base::LockGuard lock(mutex);
    return occupied;
}

std::size_t WriterQueue::waitingCount()
{
    const base::LockGuard lock(mutex);
    return waiting.size();
}

} // namespace sync::database
