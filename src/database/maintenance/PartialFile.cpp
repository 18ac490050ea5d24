#include <database/maintenance/PartialFile.h>

#include <base/FileDescriptor.h>
#include <database/opening/SystemFiles.h>

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using sync::base::FileDescriptor;

namespace sync::database {

namespace {

const QString Doing = u"Cannot write the file"_s;

// Never over a file that is there. Some file systems, those of memory sticks among them, have no
// hard links: another file of that name would have to come in the very moment then.
bool giveName(const QByteArray& from, const QByteArray& to)
{
    if (::link(from.constData(), to.constData()) == 0) {
        ::unlink(from.constData());
        return true;
    }
    if (errno == EEXIST)
        return false;
    if (::access(to.constData(), F_OK) == 0) {
        errno = EEXIST;
        return false;
    }
    return ::rename(from.constData(), to.constData()) == 0;
}

} // namespace

PartialFile::PartialFile(const QString& target)
    : target(target)
    , name(QFile::encodeName(target + u".XXXXXX"_s))
{
    const FileDescriptor descriptor(::mkostemp(name.data(), O_CLOEXEC)); // with mode 0600
    if (!descriptor.isOpen())
        failAt(target, Doing, errno);
}

PartialFile::~PartialFile()
{
    if (name.isEmpty())
        return;
    for (const char* const ending : {"", "-journal", "-wal", "-shm"})
        ::unlink((name + ending).constData());
}

QString PartialFile::path() const
{
    return QFile::decodeName(name);
}

void PartialFile::append(const QByteArray& bytes)
{
    const FileDescriptor descriptor(::open(name.constData(), O_WRONLY | O_APPEND | O_CLOEXEC));
    const char* next = bytes.constData();
    const char* const end = next + bytes.size();
    while (descriptor.isOpen() && next < end) {
        const ssize_t count = ::write(descriptor.get(), next, static_cast<std::size_t>(end - next));
        if (count < 0 && errno != EINTR)
            break;
        next += std::max<ssize_t>(count, 0);
    }
    if (next < end)
        failAt(target, Doing, errno);
}

void PartialFile::publish()
{
    sync();
    if (!giveName(name, QFile::encodeName(target)))
        failAt(target, Doing, errno);
    name.clear();
    syncFolder(QFileInfo(target).path());
}

void PartialFile::publishOver()
{
    sync();
    if (::rename(name.constData(), QFile::encodeName(target).constData()) != 0)
        failAt(target, Doing, errno);
    name.clear();
    syncFolder(QFileInfo(target).path());
}

void PartialFile::sync() const
{
    const FileDescriptor descriptor(::open(name.constData(), O_RDWR | O_CLOEXEC));
    if (!descriptor.isOpen() || ::fsync(descriptor.get()) != 0)
        failAt(target, Doing, errno);
}

} // namespace sync::database
