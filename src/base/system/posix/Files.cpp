#include <base/system/Files.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace sync::base {

namespace {

int intOf(NativeFile file)
{
    return static_cast<int>(file);
}

} // namespace

void FileDescriptor::close() noexcept
{
    ::close(intOf(descriptor));
}

FileDescriptor openForReading(const QString& path, Links links)
{
    const int flags = links == Links::Keep ? O_NOFOLLOW | O_NONBLOCK : 0;
    return FileDescriptor(::open(path.toUtf8().constData(), O_RDONLY | O_CLOEXEC | flags));
}

FileDescriptor createUniqueFile(QString& path)
{
    QByteArray name = path.toUtf8();
    FileDescriptor file(::mkostemp(name.data(), O_CLOEXEC));
    if (!file.isOpen())
        return file;
    path = QString::fromUtf8(name);
    // The umask may have taken rights from the user. Where modes cannot be set, they are fixed.
    ::fchmod(intOf(file.get()), S_IRUSR | S_IWUSR);
    return file;
}

qint64 readBytes(NativeFile file, void* bytes, std::size_t size)
{
    for (;;) {
        const ssize_t count = ::read(intOf(file), bytes, size);
        if (count >= 0 || errno != EINTR)
            return count;
    }
}

bool writeBytes(NativeFile file, QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        const ssize_t count =
            ::write(intOf(file), bytes.data(), static_cast<std::size_t>(bytes.size()));
        if (count >= 0)
            bytes = bytes.sliced(count);
        else if (errno != EINTR)
            return false;
    }
    return true;
}

// Some file systems, such as those of memory sticks, have no hard links: there another file of that
// name would have to appear at the same moment.
bool renameToNew(const QString& from, const QString& to)
{
    const QByteArray fromName = from.toUtf8();
    const QByteArray toName = to.toUtf8();
    if (::link(fromName.constData(), toName.constData()) == 0) {
        ::unlink(fromName.constData());
        return true;
    }
    if (errno == EEXIST)
        return false;
    if (::access(toName.constData(), F_OK) == 0) {
        errno = EEXIST;
        return false;
    }
    return ::rename(fromName.constData(), toName.constData()) == 0;
}

bool renameOver(const QString& from, const QString& to)
{
    return ::rename(from.toUtf8().constData(), to.toUtf8().constData()) == 0;
}

bool removeFile(const QString& path)
{
    return ::unlink(path.toUtf8().constData()) == 0;
}

bool mayAccess(const QString& path, int access)
{
    static_assert(Existence == F_OK && EnterAccess == X_OK);
    static_assert(WriteAccess == W_OK && ReadAccess == R_OK);
    return ::faccessat(AT_FDCWD, path.toUtf8().constData(), access, AT_EACCESS) == 0;
}

PathLimits pathLimits()
{
    return {PATH_MAX - 1, NAME_MAX, u"bytes"_s, false};
}

qsizetype lengthOf(const QString& pathOrName)
{
    return pathOrName.toUtf8().size();
}

QByteArray pathForLibrary(const QString& path)
{
    return path.toUtf8();
}

QString pathFromLibrary(const char* path)
{
    return QString::fromUtf8(path);
}

bool replacesOpenFiles()
{
    return true;
}

bool newFilesHaveRightsOfFolder()
{
    return false;
}

int errnoOf(int systemCode)
{
    return systemCode;
}

bool isOutOfSpace(int error)
{
    return error == ENOSPC || error == EDQUOT;
}

} // namespace sync::base
