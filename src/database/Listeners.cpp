#include <database/Listeners.h>

#include <base/PerThread.h>

#include <condition_variable>

namespace sync::database {

namespace {

// The calls that run on this thread, the innermost last: a listener that ends its own listening
// must not wait for itself.
struct CallsHere
{
    std::vector<const void*> calls;
};

std::vector<const void*>& callsHere()
{
    return base::ofThisThread<CallsHere>().calls;
}

// For all listeners, because a call is rarely waited for. Not std::atomic::wait(), which can wait
// forever where the system has no futex (libstdc++ 12 checks the value before it locks).
std::mutex mutex;
std::condition_variable finished;

} // namespace

Listening::Listening(std::shared_ptr<Calls> calls) noexcept
    : calls(std::move(calls))
{
}

Listening& Listening::operator=(Listening&& other) noexcept
{
    if (this != &other) {
        end();
        calls = std::move(other.calls);
    }
    return *this;
}

Listening::~Listening()
{
    end();
}

void Listening::end() noexcept
{
    if (const auto ended = std::exchange(calls, nullptr))
        ended->stop();
}

bool Listening::Calls::begin() noexcept
{
    // Counted first: either this sees that it is stopped, or stop() sees the call.
    ++running;
    callsHere().push_back(this);
    if (!stopped)
        return true;
    finish();
    return false;
}

void Listening::Calls::finish() noexcept
{
    callsHere().pop_back();
    --running;
    // Without the lock when nobody waits. Otherwise stop() has seen the count before or waits by
    // now.
    if (!stopped)
        return;
    {
        const std::lock_guard lock(mutex);
    }
    finished.notify_all();
}

void Listening::Calls::stop() noexcept
{
    stopped = true;
    const auto own = std::count(callsHere().begin(), callsHere().end(), this);
    std::unique_lock lock(mutex);
    finished.wait(lock, [this, own] { return running <= own; });
}

} // namespace sync::database
