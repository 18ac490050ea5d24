#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <iterator>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace sync::database {

/// Keeps a listener registered for as long as this object exists.
///
/// It may outlive what it listens to. One thread at a time may use it.
class VELMIO_DATABASE_EXPORT Listening
{
public:
    /// Listens to nothing.
    Listening() noexcept = default;
    /// Leaves `other` listening to nothing.
    Listening(Listening&& other) noexcept = default;
    /// Ends the present listening first.
    Listening& operator=(Listening&& other) noexcept;
    ~Listening();

    /// Ends it: after this returns, the listener is not running and is never called again. Waits
    /// for its calls that run on other threads; a listener may end its own listening.
    void end() noexcept;

private:
    template <typename... Arguments>
    friend class Listeners;

    /// Counts the calls of one listener that are running.
    class VELMIO_DATABASE_EXPORT Calls
    {
    public:
        /// False if the listening has ended; the listener must not be called then.
        bool begin() noexcept;
        void finish() noexcept;
        void stop() noexcept;

    private:
        std::atomic<int> running = 0;
        std::atomic<bool> stopped = false;
    };

    explicit Listening(std::shared_ptr<Calls> calls) noexcept;

    std::shared_ptr<Calls> calls;
};

/// The listeners of one source. Any thread may use it.
///
/// The mutex guards the list alone and is never held during a call, so a listener may add others,
/// end its own listening, and take any lock.
template <typename... Arguments>
class Listeners
{
public:
    /// Must not throw.
    using Function = std::function<void(Arguments...)>;

    /// Calls the function from now on, until the result is destroyed.
    [[nodiscard]] Listening add(Function function)
    {
        auto added = std::make_shared<Listener>();
        added->function = std::move(function);
        const std::lock_guard lock(mutex);
        auto next = std::make_shared<List>();
        std::copy_if(list->begin(), list->end(), std::back_inserter(*next), isThere);
        next->push_back(added);
        list = std::move(next);
        any = true;
        return Listening(std::move(added));
    }

    /// Calls all of them on the calling thread, in the order in which they were added.
    void notify(const Arguments&... arguments) const
    {
        if (!any)
            return;
        const auto now = present(); // which add() may replace during the calls
        for (const auto& entry : *now) {
            const auto listener = entry.lock();
            if (!listener || !listener->begin())
                continue;
            listener->function(arguments...);
            listener->finish();
        }
    }

    /// True when nobody listens.
    bool isEmpty() const
    {
        const auto now = present();
        return std::none_of(now->begin(), now->end(), isThere);
    }

private:
    struct Listener : Listening::Calls
    {
        Function function;
    };
    using List = std::vector<std::weak_ptr<Listener>>;

    static bool isThere(const std::weak_ptr<Listener>& entry) { return !entry.expired(); }

    std::shared_ptr<const List> present() const
    {
        const std::lock_guard lock(mutex);
        return list;
    }

    std::atomic<bool> any = false; // asked without the mutex: usually nobody has ever listened
    mutable std::mutex mutex;
    std::shared_ptr<const List> list = std::make_shared<List>();
};

} // namespace sync::database
