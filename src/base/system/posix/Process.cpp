#include <base/system/Process.h>

#include <csignal>
#include <unistd.h>

namespace sync::base {

void endWithReader()
{
    std::signal(SIGPIPE, SIG_DFL);
}

qint64 currentUserNumber()
{
    return ::geteuid();
}

} // namespace sync::base
