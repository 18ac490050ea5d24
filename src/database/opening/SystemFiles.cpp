#include <database/opening/SystemFiles.h>

#include <database/DatabaseError.h>

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using Cause = DatabaseError::Cause;

QString systemMessage(int code)
{
    return QString::fromLocal8Bit(std::strerror(code));
}

} // namespace

void failAt(const QString& path, const QString& doing, int code)
{
    const QString text = doing + u" "_s + path + u": "_s + systemMessage(code) + u". "_s;
    switch (code) {
    case EACCES:
    case EPERM:
        throw DatabaseError(
            Cause::NoPermission,
            text + u"Give yourself the right to read and write it, or name another place."_s);
    case EROFS:
        throw DatabaseError(
            Cause::ReadOnly,
            text + u"The place is read-only: move the database to one that takes writes."_s);
    case ENOSPC:
    case EDQUOT:
        throw DatabaseError(Cause::DiskFull, text + u"Free some space and try again."_s);
    case EIO:
        throw DatabaseError(Cause::InputOutput, text + u"Check the disk."_s);
    default:
        throw DatabaseError(Cause::Other, text + u"Name a file in a folder that you may use."_s);
    }
}

void createFolder(const QString& folder)
{
    if (QFileInfo::exists(folder))
        return;
    const QString parent = QFileInfo(folder).path();
    createFolder(parent);
    if (::mkdir(QFile::encodeName(folder).constData(), 0700) != 0 && errno != EEXIST)
        failAt(folder, u"Cannot create the folder"_s, errno);
    syncFolder(parent);
}

void syncFolder(const QString& folder)
{
    const int descriptor = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return; // A folder that may be written but not read has no other way to be synced.
    ::fsync(descriptor);
    ::close(descriptor);
}

} // namespace sync::database
