#include <base/system/FileRights.h>

#include <base/system/linux/Statx.h>
#include <base/system/posix/Rights.h>

#include <fcntl.h>
#include <sys/stat.h>

namespace sync::base {

namespace {

std::optional<ExaminedFile> examineAt(int folder, const char* name)
{
    const auto found = statxOf(folder, name, AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH);
    if (!found)
        return {};
    return ExaminedFile{
        toStatus(*found), rightsOf(found->stx_mode, found->stx_uid, found->stx_gid)};
}

} // namespace

std::optional<ExaminedFile> examine(NativeFile file)
{
    return examineAt(int(file), "");
}

ExaminedFolder::ExaminedFolder(const QString& path)
    : descriptor(::open(path.toUtf8().constData(), O_PATH | O_DIRECTORY | O_CLOEXEC))
{
}

std::optional<ExaminedFile> ExaminedFolder::examine(const QString& name) const
{
    return examineAt(int(descriptor.get()), name.toUtf8().constData());
}

} // namespace sync::base
