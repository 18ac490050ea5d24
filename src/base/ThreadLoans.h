#pragma once

#include <base/LockGuard.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace sync::base {

/// What ThreadLoans lends: a class derived from this, with isNeeded(), which says that its thread
/// must keep it also without a lease, and perhaps rest(), which is called before it is kept for
/// another thread.
class LentToThread
{
protected:
    bool isOnItsThread() const { return std::this_thread::get_id() == thread; }

private:
    template <typename>
    friend class ThreadLoans;

    // Guarded by the mutex of ThreadLoans.
    std::thread::id thread;
    int leases = 0;
};

/// Lends each thread an object of its own, the same one for as long as the thread needs it. Any
/// thread may call. `mutex` guards the lists; nothing else is locked, and no object is made, while
/// it is held.
template <typename Lent>
class ThreadLoans
{
public:
    /// Keeps so many objects that no thread needs.
    explicit ThreadLoans(std::size_t mostIdle)
        : mostIdle(mostIdle)
    {
    }

    /// Takes an object, to be lent to the first thread that needs one.
    void add(std::unique_ptr<Lent> object) { idle.push_back(std::move(object)); }

    /// Destroys all.
    void clear()
    {
        active.clear();
        idle.clear();
    }

    /// The object of the calling thread, made by `make` if none is idle. Give it back as often as
    /// it was borrowed. Throws what `make` throws.
    template <typename Make>
    Lent* borrow(Make make)
    {
        const auto thread = std::this_thread::get_id();
        std::unique_lock lock(mutex);
        if (Lent* const mine = find(thread)) {
            ++mine->leases;
            return mine;
        }
        auto object = takeIdle(thread);
        if (!object) {
            // May take long; other threads must not wait for that.
            lock.unlock();
            object = make();
            lock.lock();
        }
        object->thread = thread;
        object->leases = 1;
        return active.emplace_back(std::move(object)).get();
    }

    void giveBack(Lent* object) noexcept
    {
        const LockGuard lock(mutex);
        --object->leases;
        retire(object);
    }

    /// Ends the loan of an object that is not needed any more.
    void retireUnused(Lent* object) noexcept
    {
        const LockGuard lock(mutex);
        retire(object);
    }

    /// The object that a thread has; null if it has none.
    Lent* lentTo(std::thread::id thread) const noexcept
    {
        const LockGuard lock(mutex);
        return find(thread);
    }

private:
    using Objects = std::vector<std::unique_ptr<Lent>>;

    template <typename List>
    static auto findIn(List& objects, std::thread::id thread)
    {
        return std::find_if(objects.begin(), objects.end(), [thread](const auto& object) {
            return object->thread == thread;
        });
    }

    Lent* find(std::thread::id thread) const
    {
        const auto found = findIn(active, thread);
        return found == active.end() ? nullptr : found->get();
    }

    std::unique_ptr<Lent> takeIdle(std::thread::id thread)
    {
        if (idle.empty())
            return nullptr;
        // The one that this thread had before has in its caches what the thread needs.
        auto found = findIn(idle, thread);
        if (found == idle.end())
            found = idle.end() - 1;
        auto object = std::move(*found);
        idle.erase(found);
        return object;
    }

    void retire(Lent* object)
    {
        if (object->leases > 0 || object->isNeeded())
            return;
        if constexpr (requires { object->rest(); })
            object->rest();
        const auto found = std::find_if(active.begin(), active.end(), [object](const auto& owned) {
            return owned.get() == object;
        });
        if (idle.size() < mostIdle)
            idle.push_back(std::move(*found));
        active.erase(found);
    }

    const std::size_t mostIdle;
    mutable std::mutex mutex;
    Objects active; // one for each thread that has one
    Objects idle;   // the last one given back at the end
};

/// Holds the connection of the thread that created it, and thereby the pool.
template <typename Pool>
class Lease
{
public:
    /// Throws what Pool::borrow() throws.
    explicit Lease(std::shared_ptr<Pool> lender)
        : pool(std::move(lender))
        , connection(pool->borrow())
    {
    }
    ~Lease() { pool->giveBack(connection); }

    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    auto& operator*() const { return *connection; }
    auto* operator->() const { return connection; }

    const std::shared_ptr<Pool> pool;

private:
    decltype(std::declval<Pool&>().borrow()) const connection;
};

/// Is told when a thread ends.
class ThreadEndWatcher
{
public:
    virtual ~ThreadEndWatcher() = default;

    /// Called on the thread that ends.
    virtual void threadEnds() noexcept = 0;
};

/// Tells the watcher, if it still exists then, when the calling thread ends.
void watchThreadEnd(const std::weak_ptr<ThreadEndWatcher>& watcher);

} // namespace sync::base
