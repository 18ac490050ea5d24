#include <database/Listeners.h>

namespace sync::database {

namespace {

// The calls that run on this thread, the innermost last: a listener that ends its own listening
// must not wait for itself.
thread_local std::vector<const void*> callsHere;

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
    callsHere.push_back(this);
    if (!stopped)
        return true;
    finish();
    return false;
}

void Listening::Calls::finish() noexcept
{
    callsHere.pop_back();
    --running;
    running.notify_all();
}

void Listening::Calls::stop() noexcept
{
    stopped = true;
    const auto own = std::count(callsHere.begin(), callsHere.end(), this);
    for (int now = running; now > own; now = running)
        running.wait(now);
}

} // namespace sync::database
