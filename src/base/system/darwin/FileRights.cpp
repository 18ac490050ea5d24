#include <base/system/FileRights.h>

#include <base/system/darwin/Stat.h>
#include <base/system/posix/Rights.h>

#include <fcntl.h>
#include <sys/stat.h>

namespace sync::base {

namespace {

ExaminedFile toExamined(const struct stat& found)
{
    return {toStatus(found), rightsOf(found.st_mode, found.st_uid, found.st_gid)};
}

} // namespace

std::optional<ExaminedFile> examine(NativeFile file)
{
    struct stat found
    {
    };
    return ::fstat(int(file), &found) == 0 ? std::optional(toExamined(found)) : std::nullopt;
}

// SQLite locks files and no folders, so a descriptor that can read does not matter here. Before
// macOS 13 O_SEARCH has no effect, and the folder must be readable.
ExaminedFolder::ExaminedFolder(const QString& path)
    : descriptor(::open(path.toUtf8().constData(), O_SEARCH | O_DIRECTORY | O_CLOEXEC))
{
}

std::optional<ExaminedFile> ExaminedFolder::examine(const QString& name) const
{
    if (name.isEmpty())
        return base::examine(descriptor.get());
    struct stat found
    {
    };
    const int failure =
        ::fstatat(int(descriptor.get()), name.toUtf8().constData(), &found, AT_SYMLINK_NOFOLLOW);
    return failure == 0 ? std::optional(toExamined(found)) : std::nullopt;
}

} // namespace sync::base
