#include <base/PartialFile.h>

#include <base/FileError.h>
#include <base/Folders.h>
#include <base/system/Files.h>

#include <QFileInfo>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace sync::base {

PartialFile::PartialFile(const QString& target)
    : target(target)
    , name(target + u".XXXXXX"_s)
    , descriptor(createUniqueFile(name))
{
    if (!descriptor.isOpen())
        fail();
}

PartialFile::~PartialFile()
{
    if (name.isEmpty())
        return;
    // Windows removes no open file.
    descriptor = FileDescriptor(-1);
    for (const QString& ending : {u""_s, u"-journal"_s, u"-wal"_s, u"-shm"_s})
        removeFile(name + ending);
}

void PartialFile::append(QByteArrayView bytes)
{
    if (!writeBytes(descriptor.get(), bytes))
        fail();
}

void PartialFile::publish()
{
    sync();
    if (!renameToNew(name, target))
        fail();
    name.clear();
    syncFolder(QFileInfo(target).path());
}

void PartialFile::publishOver()
{
    sync();
    if (!renameOver(name, target))
        fail();
    name.clear();
    syncFolder(QFileInfo(target).path());
}

// Closes it before it gets its name: a close drops the locks that this process holds on the file
// (sqlite.org/howtocorrupt.html, "Posix advisory locks").
void PartialFile::sync()
{
    if (!syncToMedium(descriptor.get()))
        fail();
    descriptor = FileDescriptor(-1);
}

void PartialFile::fail() const
{
    throw FileError(target, u"Cannot write the file"_s, errno);
}

} // namespace sync::base
