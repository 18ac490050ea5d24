#include <base/PartialFile.h>

#include <base/FileError.h>
#include <base/Folders.h>

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace sync::base {

namespace {

// Never replaces an existing file. Some file systems, such as those of memory sticks, have no hard
// links: there another file of that name would have to appear at the same moment.
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
    , descriptor(::mkostemp(name.data(), O_CLOEXEC))
{
    if (!descriptor.isOpen())
        fail();
    // The umask may have taken rights from the user. Where modes cannot be set, they are fixed.
    ::fchmod(descriptor.get(), S_IRUSR | S_IWUSR);
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

void PartialFile::append(QByteArrayView bytes)
{
    while (!bytes.isEmpty()) {
        const ssize_t count =
            ::write(descriptor.get(), bytes.data(), static_cast<std::size_t>(bytes.size()));
        if (count >= 0)
            bytes = bytes.sliced(count);
        else if (errno != EINTR)
            fail();
    }
}

void PartialFile::publish()
{
    sync();
    const QByteArray targetName = QFile::encodeName(target);
    if (!giveName(name, targetName))
        fail();
    name.clear();
    syncFolder(QFileInfo(target).path());
}

void PartialFile::publishOver()
{
    sync();
    if (::rename(name.constData(), QFile::encodeName(target).constData()) != 0)
        fail();
    name.clear();
    syncFolder(QFileInfo(target).path());
}

// Closes it before it gets its name: a close drops the locks that this process holds on the file
// (sqlite.org/howtocorrupt.html, "Posix advisory locks").
void PartialFile::sync()
{
    if (::fsync(descriptor.get()) != 0)
        fail();
    descriptor = FileDescriptor(-1);
}

void PartialFile::fail() const
{
    throw FileError(target, u"Cannot write the file"_s, errno);
}

} // namespace sync::base
