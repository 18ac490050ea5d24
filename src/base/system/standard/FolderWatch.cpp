#include <base/system/FolderWatch.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace sync::base {

// Systems whose calls for this are not used yet.
struct FolderWatch::State
{
};

FolderWatch::FolderWatch() = default;
FolderWatch::~FolderWatch() = default;

bool FolderWatch::add(const std::string&)
{
    errno = ENOSYS;
    return false;
}

FolderChanges FolderWatch::wait(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    return {};
}

} // namespace sync::base
