#include <core/FileKeyStore.h>

#include <base/FileDescriptor.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>
#include <cstring>
#include <mutex>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

using base::FileDescriptor;

namespace {

constexpr mode_t OwnerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t GroupAndOthers = S_IRWXG | S_IRWXO;

QString systemText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

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
        u"The password key file \"%1\" cannot be read: %2. Give yourself access to it and to the "
        "folders above it."_s.arg(path, systemText(error))};
}

KeyError unwritable(const QString& path, int error)
{
    return {
        KeyError::Cause::NotWritable,
        u"The password key file \"%1\" cannot be written: %2. Make its folder writable, or choose "
        "another place for the key."_s.arg(path, systemText(error))};
}

KeyError damaged(const QString& path)
{
    return {
        KeyError::Cause::Damaged,
        u"The password key file \"%1\" is damaged. Restore it from a backup, or remove it and "
        "enter the passwords anew."_s.arg(path)};
}

void checkSafety(const QString& path, const struct stat& status)
{
    if (!S_ISREG(status.st_mode))
        throw unsafe(path, u"is not a regular file"_s, u"Remove what is in its place."_s);
    if (status.st_uid != geteuid())
        throw unsafe(path, u"belongs to another user"_s, u"Make yourself its owner."_s);
    if (status.st_mode & GroupAndOthers) {
        throw unsafe(
            path, u"lets its group or others in"_s,
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

bool writeWhole(int descriptor, const SecureBytes& bytes)
{
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(descriptor, bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return false;
        done += static_cast<std::size_t>(count);
    }
    return ::fsync(descriptor) == 0;
}

/// A file of its own name beside the key file, gone when this goes.
struct TemporaryFile
{
    explicit TemporaryFile(const QString& path)
        : name(QFile::encodeName(path + u".XXXXXX"_s))
        , descriptor(::mkostemp(name.data(), O_CLOEXEC)) // Makes it with mode 0600.
    {
    }
    ~TemporaryFile()
    {
        if (descriptor.isOpen())
            ::unlink(name.constData());
    }
    Q_DISABLE_COPY_MOVE(TemporaryFile)

    QByteArray name;
    FileDescriptor descriptor;
};

void makeFolder(const QString& path)
{
    const QString folder = QFileInfo(path).absolutePath();
    if (QFileInfo(folder).isDir())
        return;
    QDir().mkpath(folder);
    // Made by us, or in the same moment by another process that does the same.
    if (::chmod(QFile::encodeName(folder).constData(), S_IRWXU) != 0)
        throw unwritable(path, errno);
}

void syncFolder(const QString& path)
{
    const QByteArray folder = QFile::encodeName(QFileInfo(path).absolutePath());
    const FileDescriptor descriptor(::open(folder.constData(), O_RDONLY | O_CLOEXEC));
    if (!descriptor.isOpen() || ::fsync(descriptor.get()) != 0)
        throw unwritable(path, errno);
}

/// Keeps other processes out until it is closed, also by the end of this process.
FileDescriptor lockFor(const QString& path)
{
    const QByteArray name = QFile::encodeName(path + u".lock"_s);
    FileDescriptor lock(
        ::open(name.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, OwnerOnly));
    if (!lock.isOpen())
        throw unwritable(path, errno);
    while (::flock(lock.get(), LOCK_EX) != 0) {
        if (errno != EINTR)
            throw unwritable(path, errno);
    }
    return lock;
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
    // Kept open, so that no later file can be given the same number as the one that was read.
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
    // Not blocking, as a pipe in its place would.
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
    makeFolder(filePath);
    const FileDescriptor lock = lockFor(filePath);
    KeyRing before = read();
    const KeyRing after = change(before);
    if (after.ids() == before.ids())
        return before;

    _Write(after, !before.isEmpty());
    return read();
}

void FileKeyStore::_Write(const KeyRing& ring, bool replace)
{
    const TemporaryFile fresh(filePath);
    if (!fresh.descriptor.isOpen() || !writeWhole(fresh.descriptor.get(), ring.toBytes()))
        throw unwritable(filePath, errno);

    const QByteArray name = QFile::encodeName(filePath);
    // The first file is linked into place: should the lock not hold, as on some network drives,
    // whoever comes second finds the winner's file and uses that.
    const int result = replace ? ::rename(fresh.name.constData(), name.constData())
                               : ::link(fresh.name.constData(), name.constData());
    if (result != 0 && (replace || errno != EEXIST))
        throw unwritable(filePath, errno);
    syncFolder(filePath);
}

} // namespace sync::core::crypto
