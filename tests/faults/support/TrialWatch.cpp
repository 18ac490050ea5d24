#include "TrialWatch.h"

#include "Trials.h"

#ifdef Q_OS_UNIX
    #include <unistd.h>

    #include <cstdlib>
#endif

namespace sync::test {

#ifdef Q_OS_UNIX

namespace {

constexpr unsigned LongestTrialSeconds = 60;

QByteArray message;

void say() noexcept
{
    // A failed write cannot be reported.
    [[maybe_unused]] const auto written =
        ::write(STDERR_FILENO, message.constData(), static_cast<std::size_t>(message.size()));
}

// After a return, the crash repeats with the default handler, which SA_RESETHAND has restored.
void handle(int signal)
{
    say();
    if (signal == SIGALRM)
        std::abort();
}

} // namespace

TrialWatch::TrialWatch(quint32 trial)
{
    message = "\nThe trial crashed or hung; " + repeatWith(trial) + '\n';
    struct sigaction action
    {
    };
    action.sa_handler = handle;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (std::size_t index = 0; index < Signals.size(); ++index)
        ::sigaction(Signals[index], &action, &previous[index]);
    ::alarm(LongestTrialSeconds);
}

TrialWatch::~TrialWatch()
{
    ::alarm(0);
    for (std::size_t index = 0; index < Signals.size(); ++index)
        ::sigaction(Signals[index], &previous[index], nullptr);
}

#else

// ctest ends a trial that hangs.
TrialWatch::TrialWatch(quint32 /*trial*/) {}

TrialWatch::~TrialWatch() = default;

#endif

} // namespace sync::test
