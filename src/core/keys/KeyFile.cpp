#include <core/keys/KeyFile.h>

#include <base/FileError.h>
#include <base/Folders.h>
#include <base/Ownership.h>
#include <base/PartialFile.h>
#include <core/KeyError.h>

#include <QFileInfo>

#include <cerrno>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

using base::FileDescriptor;
using base::systemErrorText;

namespace {

KeyError unsafe(const QString& path, const QString& why, const QString& remedy)
{
    return {
        KeyError::Cause::Unsafe,
        u"The password key file \"%1\" %2, so it is not used. %3"_s.arg(path, why, remedy)};
}

KeyError unreadable(const QString& path, int error)
{
    const bool denied = error == EACCES || error == EPERM;
    return {
        denied ? KeyError::Cause::NoPermission : KeyError::Cause::Other,
        u"The password key file \"%1\" cannot be read: %2. Get permission to read it and the "
        "folders above it."_s.arg(path, systemErrorText(error))};
}

KeyError unwritable(const QString& path, int error)
{
    return {
        KeyError::Cause::NotWritable,
        u"The password key file \"%1\" cannot be written: %2. Make its folder writable, or choose "
        "another place for the key."_s.arg(path, systemErrorText(error))};
}

KeyError damaged(const QString& path)
{
    return {
        KeyError::Cause::Damaged,
        u"The password key file \"%1\" is damaged. Restore it from a backup, or remove it and "
        "enter the passwords again."_s.arg(path)};
}

// Who may write to the folder could put another file in its place.
void checkFolder(const QString& path)
{
    const QString folder = QFileInfo(path).absolutePath();
    const auto found = base::ExaminedFolder(folder).examine();
    if (!found)
        return; // The next step says why.
    QString finding = base::ownerFinding(folder, found->rights, base::currentUser());
    if (finding.isEmpty())
        finding = base::writersFinding(folder, found->rights);
    if (!finding.isEmpty()) {
        throw KeyError(
            KeyError::Cause::Unsafe, u"The password key file \"%1\" is not used, because another "
                                     "user could exchange it: %2."_s.arg(path, finding));
    }
}

void checkSafety(const QString& path, const base::ExaminedFile& file)
{
    if (file.status.kind != base::FileKind::File)
        throw unsafe(path, u"is not a regular file"_s, u"Remove what is in its place."_s);
    if (file.rights.owner != base::currentUser())
        throw unsafe(path, u"belongs to another user"_s, u"Make yourself its owner."_s);
    if (file.rights.othersMayUse) {
        throw unsafe(
            path, u"can be read or changed by its group or others"_s,
            u"Take the rights to it from all others, and change the passwords if others may have "
            u"read it."_s);
    }
}

SecureBytes readWhole(const QString& path, const FileDescriptor& file, std::size_t size)
{
    if (size == 0 || size > KeyRing::maximumBytes())
        throw damaged(path);

    SecureBytes bytes(size);
    std::size_t done = 0;
    while (done < size) {
        const qint64 count = base::readBytes(file.get(), bytes.data() + done, size - done);
        if (count < 0)
            throw unreadable(path, errno);
        if (count == 0)
            throw damaged(path);
        done += static_cast<std::size_t>(count);
    }
    return bytes;
}

FileDescriptor openFile(const QString& path)
{
    FileDescriptor file = base::openForReading(path, base::Links::Keep);
    if (!file.isOpen() && errno == ELOOP)
        throw unsafe(path, u"is a symbolic link"_s, u"Put the file itself there."_s);
    if (!file.isOpen() && errno != ENOENT)
        throw unreadable(path, errno);
    return file;
}

} // namespace

KeyFile::KeyFile(QString path)
    : filePath(std::move(path))
{
}

KeyRing KeyFile::read()
{
    FileDescriptor present = openFile(filePath);
    if (!present.isOpen())
        return {};
    checkFolder(filePath);
    const auto examined = base::examine(present.get());
    if (!examined)
        throw unreadable(filePath, errno);
    checkSafety(filePath, *examined);

    const std::lock_guard lock(mutex);
    if (!isCached(examined->status)) {
        auto bytes = readWhole(filePath, present, static_cast<std::size_t>(examined->status.size));
        auto fresh = KeyRing::fromBytes(bytes);
        if (!fresh)
            throw damaged(filePath);
        content = std::move(*fresh);
        file = base::replacesOpenFiles() ? std::move(present) : FileDescriptor(-1);
        status = examined->status;
        isSynced = false;
        ++contents;
    }
    return content;
}

void KeyFile::prepareFolder() const
{
    try {
        base::createFolders(QFileInfo(filePath).absolutePath());
    } catch (const base::FileError& error) {
        throw unwritable(filePath, error.code());
    }
    checkFolder(filePath);
}

void KeyFile::write(const KeyRing& present, const KeyRing& ring)
{
    const SecureBytes bytes = ring.toBytes();
    try {
        base::PartialFile fresh(filePath);
        fresh.append({bytes.data(), static_cast<qsizetype>(bytes.size())});
        present.isEmpty() ? fresh.publish() : fresh.publishOver();
    } catch (const base::FileError& error) {
        // If the lock does not hold, as on some network file systems, the first file wins and the
        // second process uses it.
        if (!present.isEmpty() || error.code() != EEXIST)
            throw unwritable(filePath, error.code());
    }
}

void KeyFile::sync()
{
    const std::lock_guard lock(mutex);
    if (isSynced || !status)
        return;
    if (!file.isOpen())
        file = openFile(filePath);
    try {
        // On a read-only file system there is nothing to sync.
        if (file.isOpen() && !base::syncToMedium(file.get()) && errno != EROFS && errno != EINVAL)
            throw base::FileError(filePath, u"Cannot sync the file"_s, errno);
        base::syncFolder(QFileInfo(filePath).absolutePath());
    } catch (const base::FileError& error) {
        throw unwritable(filePath, error.code());
    }
    if (!base::replacesOpenFiles())
        file = FileDescriptor(-1);
    isSynced = true;
}

void KeyFile::remove()
{
    try {
        if (!base::removeFile(filePath))
            throw base::FileError(filePath, u"Cannot remove the file"_s, errno);
        base::syncFolder(QFileInfo(filePath).absolutePath());
    } catch (const base::FileError& error) {
        throw unwritable(filePath, error.code());
    }
}

bool KeyFile::isCached(const base::FileStatus& present) const
{
    return status && status->id == present.id && status->size == present.size &&
           status->changed == present.changed;
}

} // namespace sync::core::crypto
