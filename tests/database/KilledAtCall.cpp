#include "KilledAtCall.h"

#include <support/SystemCalls.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <sys/wait.h>
#include <unistd.h>

namespace sync::test {

ChildEnd runKilledAtCall(int call, const std::function<void()>& action)
{
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            int callsLeft = call;
            const SystemCallWatch watch([&callsLeft](const SystemCall&) {
                return --callsLeft == 0 ? ::raise(SIGKILL) : 0;
            });
            action();
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s\n", error.what());
            ::_exit(EXIT_FAILURE);
        }
        ::_exit(EXIT_SUCCESS);
    }
    int status = 0;
    if (::waitpid(child, &status, 0) != child)
        return ChildEnd::Failed;
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
        return ChildEnd::Killed;
    const bool succeeded = WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
    return succeeded ? ChildEnd::Finished : ChildEnd::Failed;
}

} // namespace sync::test
