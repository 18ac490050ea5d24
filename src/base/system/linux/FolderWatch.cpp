#include <base/system/FolderWatch.h>

#include <base/system/FileDescriptor.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>
#include <unordered_map>

namespace sync::base {

namespace {

constexpr std::uint32_t Wanted = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                 IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF |
                                 IN_ONLYDIR | IN_EXCL_UNLINK;
constexpr std::uint32_t OfFolders = IN_ISDIR | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT;

} // namespace

struct FolderWatch::State
{
    void note(const inotify_event& event, FolderChanges& changes)
    {
        if ((event.mask & IN_Q_OVERFLOW) != 0)
            changes.lost = true;
        else if ((event.mask & IN_IGNORED) != 0)
            paths.erase(event.wd);
        else if ((event.mask & OfFolders) != 0)
            changes.folders = true;
        else if (const auto folder = paths.find(event.wd); folder != paths.end())
            changes.withFiles.insert(folder->second);
    }

    FileDescriptor events{::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)};
    const int openingError = events.isOpen() ? 0 : errno;
    // number of the watch -> its folder
    std::unordered_map<int, std::string> paths;
};

FolderWatch::FolderWatch()
    : state(std::make_unique<State>())
{
}

FolderWatch::~FolderWatch() = default;

bool FolderWatch::add(const std::string& path)
{
    if (!state->events.isOpen()) {
        errno = state->openingError;
        return false;
    }
    const int watch = ::inotify_add_watch(int(state->events.get()), path.c_str(), Wanted);
    if (watch >= 0)
        state->paths[watch] = path;
    return watch >= 0;
}

FolderChanges FolderWatch::wait(int milliseconds)
{
    FolderChanges changes;
    pollfd waiting{int(state->events.get()), POLLIN, 0};
    if (::poll(&waiting, 1, milliseconds) <= 0)
        return changes;
    std::array<char, 64 * 1024> bytes;
    ssize_t size = 0;
    while ((size = ::read(waiting.fd, bytes.data(), bytes.size())) > 0) {
        for (ssize_t at = 0; at < size;) {
            inotify_event event{};
            std::memcpy(&event, bytes.data() + at, sizeof event);
            state->note(event, changes);
            at += ssize_t(sizeof event + event.len);
        }
    }
    return changes;
}

} // namespace sync::base
