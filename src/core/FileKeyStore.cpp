#include <core/FileKeyStore.h>

#include <base/FileDescriptor.h>
#include <base/FileError.h>
#include <base/Folders.h>
#include <base/PartialFile.h>
#include <core/keys/KeyLock.h>

#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QStandardPaths>

#include <cerrno>
#include <mutex>

#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

using base::FileDescriptor;
using base::systemErrorText;

namespace {

constexpr std::chrono::seconds FileLockLimit(5);
constexpr mode_t GroupAndOthers = S_IRWXG | S_IRWXO;

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

void checkSafety(const QString& path, const struct stat& status)
{
    if (!S_ISREG(status.st_mode))
        throw unsafe(path, u"is not a regular file"_s, u"Remove what is in its place."_s);
    if (status.st_uid != geteuid())
        throw unsafe(path, u"belongs to another user"_s, u"Make yourself its owner."_s);
    if (status.st_mode & GroupAndOthers) {
        throw unsafe(
            path, u"can be read or changed by its group or others"_s,
            u"Set its mode to 0600, and change the passwords if others may have read it."_s);
    }
}

SecureBytes readWhole(const QString& path, int descriptor, std::size_t size)
{
    if (size == 0 || size > KeyRing::maximumBytes())
        throw damaged(path);

    SecureBytes bytes(size);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = ::read(descriptor, bytes.data() + done, size - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw unreadable(path, errno);
        if (count == 0)
            throw damaged(path);
        done += static_cast<std::size_t>(count);
    }
    return bytes;
}

} // namespace

struct FileKeyStore::Cache
{
    bool isOf(const struct stat& present) const
    {
        return file.isOpen() && status.st_dev == present.st_dev &&
               status.st_ino == present.st_ino && status.st_size == present.st_size &&
               status.st_ctime == present.st_ctime;
    }

    std::mutex mutex;
    // Kept open, so that no later file can get the inode number of the file that was read.
    FileDescriptor file{-1};
    struct stat status = {};
    KeyRing ring;
};

FileKeyStore::FileKeyStore(QString path)
    : filePath(std::move(path))
    , cache(std::make_unique<Cache>())
{
}

FileKeyStore::~FileKeyStore() = default;

QString FileKeyStore::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           u"/velmio/password.key"_s;
}

KeyRing FileKeyStore::read()
{
    // O_NONBLOCK, because opening a pipe would wait for its writer.
    FileDescriptor file(::open(
        QFile::encodeName(filePath).constData(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file.isOpen() && errno == ENOENT)
        return {};
    if (!file.isOpen() && errno == ELOOP)
        throw unsafe(filePath, u"is a symbolic link"_s, u"Put the file itself there."_s);
    if (!file.isOpen())
        throw unreadable(filePath, errno);

    struct stat status = {};
    if (::fstat(file.get(), &status) != 0)
        throw unreadable(filePath, errno);
    checkSafety(filePath, status);

    const std::lock_guard lock(cache->mutex);
    if (!cache->isOf(status)) {
        auto ring = KeyRing::fromBytes(
            readWhole(filePath, file.get(), static_cast<std::size_t>(status.st_size)));
        if (!ring)
            throw damaged(filePath);
        cache->ring = std::move(*ring);
        cache->file = std::move(file);
        cache->status = status;
    }
    return cache->ring;
}

KeyRing FileKeyStore::change(const Change& change)
{
    try {
        base::createFolders(QFileInfo(filePath).absolutePath());
    } catch (const base::FileError& error) {
        throw unwritable(filePath, error.code());
    }
    QLockFile lock(filePath + u".lock"_s);
    lockKeys(lock, FileLockLimit);
    KeyRing before = read();
    const KeyRing after = change(before);
    if (after.ids() == before.ids())
        return before;

    _Write(after, !before.isEmpty());
    return read();
}

void FileKeyStore::_Write(const KeyRing& ring, bool replace)
{
    const SecureBytes bytes = ring.toBytes();
    try {
        base::PartialFile fresh(filePath);
        fresh.append({bytes.data(), static_cast<qsizetype>(bytes.size())});
        replace ? fresh.publishOver() : fresh.publish();
    } catch (const base::FileError& error) {
        // If the lock does not hold, as on some network file systems, the first file wins and the
        // second process uses it.
        if (replace || error.code() != EEXIST)
            throw unwritable(filePath, error.code());
    }
}

} // namespace sync::core::crypto
