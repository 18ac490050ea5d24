#include <base/system/windows/Native.h>

#include <base/system/FileRights.h>

#include <QDir>
#include <QFileInfo>

#include <sddl.h>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace sync::base {

namespace {

int errnoOfError(DWORD code)
{
    switch (code) {
    case ERROR_SUCCESS:
        return 0;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_INVALID_NAME:
    case ERROR_DELETE_PENDING:
        return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_CANNOT_MAKE:
    case ERROR_PRIVILEGE_NOT_HELD:
    case ERROR_NETWORK_ACCESS_DENIED:
        return EACCES;
    case ERROR_WRITE_PROTECT:
        return EROFS;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_BUSY:
    case ERROR_USER_MAPPED_FILE:
    case ERROR_NOT_READY:
        return EBUSY;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
        return EEXIST;
    case ERROR_DIRECTORY:
        return ENOTDIR;
    case ERROR_DIR_NOT_EMPTY:
        return ENOTEMPTY;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
    case ERROR_NOT_ENOUGH_QUOTA:
        return ENOSPC;
    case ERROR_FILENAME_EXCED_RANGE:
    case ERROR_BUFFER_OVERFLOW:
        return ENAMETOOLONG;
    case ERROR_CANT_RESOLVE_FILENAME:
        return ELOOP;
    case ERROR_TOO_MANY_OPEN_FILES:
        return EMFILE;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
        return ENOMEM;
    case ERROR_NOT_SUPPORTED:
    case ERROR_INVALID_FUNCTION:
        return ENOSYS;
    case ERROR_INVALID_PARAMETER:
        return EINVAL;
    case ERROR_INVALID_HANDLE:
        return EBADF;
    case ERROR_BROKEN_PIPE:
    case ERROR_NO_DATA:
        return EPIPE;
    default:
        return EIO;
    }
}

} // namespace

int errnoOf(int systemCode)
{
    return errnoOfError(static_cast<DWORD>(systemCode));
}

bool failed()
{
    errno = errnoOfError(::GetLastError());
    return false;
}

std::wstring nativePath(const QString& path)
{
    const QString given = QDir::toNativeSeparators(path);
    if (given.startsWith(u"\\\\?\\") || given.startsWith(u"\\\\.\\"))
        return given.toStdWString();
    // Not QDir::cleanPath() on what is absolute already: it is in that form when it comes here.
    const QString absolute = QDir::toNativeSeparators(
        QFileInfo(path).isAbsolute() ? QDir::cleanPath(path) : QFileInfo(path).absoluteFilePath());
    if (absolute.startsWith(u"\\\\"))
        return (u"\\\\?\\UNC\\"_s + absolute.sliced(2)).toStdWString();
    return (u"\\\\?\\"_s + absolute).toStdWString();
}

bool isLinkTag(DWORD reparseTag)
{
    return reparseTag == IO_REPARSE_TAG_SYMLINK || reparseTag == IO_REPARSE_TAG_MOUNT_POINT;
}

std::string toUtf8(std::wstring_view name)
{
    const QStringView text(name.data(), static_cast<qsizetype>(name.size()));
    if (text.isValidUtf16())
        return text.toUtf8().toStdString();
    std::string bytes;
    for (qsizetype at = 0; at < text.size(); ++at) {
        const QStringView pair = text.sliced(at, qMin<qsizetype>(2, text.size() - at));
        if (!text[at].isSurrogate()) {
            bytes += text.sliced(at, 1).toUtf8().toStdString();
        } else if (pair.isValidUtf16()) {
            bytes += pair.toUtf8().toStdString();
            ++at;
        } else {
            const auto unit = text[at].unicode();
            bytes += static_cast<char>(0xe0 | (unit >> 12));
            bytes += static_cast<char>(0x80 | ((unit >> 6) & 0x3f));
            bytes += static_cast<char>(0x80 | (unit & 0x3f));
        }
    }
    return bytes;
}

OwnerAlone::OwnerAlone(For what)
{
    // The owner is named, because files of an administrator would belong to all of them. In a
    // folder, what is created gets the same rights. "P": nothing is inherited from above.
    const QString text =
        u"O:%1D:P(A;%2;FA;;;%1)"_s.arg(currentUser(), what == For::Folder ? u"OICI"_s : QString());
    ::ConvertStringSecurityDescriptorToSecurityDescriptorW(
        text.toStdWString().c_str(), SDDL_REVISION_1, descriptor.out(), nullptr);
    values = {sizeof(values), descriptor.get(), FALSE};
}

} // namespace sync::base
