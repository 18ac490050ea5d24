#include <core/FileKeyStore.h>

#include <base/system/Places.h>
#include <core/KeyError.h>
#include <core/keys/KeyFile.h>
#include <core/keys/KeyLock.h>

#include <QLockFile>
#include <QStandardPaths>

#include <atomic>
#include <optional>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

namespace {

const QString FileName = u"/velmio/password.key"_s;

// The folder of the database, whose copies then had the key with them.
QString formerDefaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + FileName;
}

} // namespace

/// The file of a store, and for the default path the one where earlier versions kept the keys.
///
/// The keys of the former file move to the present one: they are durable there before the former
/// file is removed, both under the locks that a change takes, the present one's first. An earlier
/// version or a backup can bring the former file back, and then its keys move again. While they
/// cannot be moved, they are read where they are.
struct FileKeyStore::Files
{
    explicit Files(QString path);

    /// The keys of both files.
    KeyRing read();

    /// Whether the former file has a content that move() has not seen.
    bool isMoveDue();

    /// The caller has locked the present file. Throws KeyError.
    void move();

    KeyFile present;
    std::optional<KeyFile> former;
    std::atomic<int> readingsAtMove = 0;
};

FileKeyStore::Files::Files(QString path)
    : present(std::move(path))
{
    if (present.path() == defaultPath() && present.path() != formerDefaultPath())
        former.emplace(formerDefaultPath());
}

KeyRing FileKeyStore::Files::read()
{
    KeyRing formerRing;
    std::optional<KeyError> formerError;
    try {
        // First, because it is removed when its keys are in the present file.
        if (former)
            formerRing = former->read();
    } catch (const KeyError& error) {
        formerError = error;
    }
    KeyRing ring;
    try {
        ring = present.read();
    } catch (const KeyError& error) {
        // Another user may own the folder for the state. Damage is not hidden.
        const bool isOutOfReach = error.cause() == KeyError::Cause::NoPermission ||
                                  error.cause() == KeyError::Cause::Other;
        if (!isOutOfReach || formerRing.isEmpty())
            throw;
    }
    // A file that an earlier version or a backup has left must not keep the client from its keys.
    if (formerError && ring.isEmpty())
        throw KeyError(*formerError);
    return ring.withEarlier(formerRing);
}

bool FileKeyStore::Files::isMoveDue()
{
    return former && readingsAtMove.exchange(former->readings()) != former->readings();
}

void FileKeyStore::Files::move()
{
    if (!former || former->read().isEmpty())
        return;
    // Fails if links lead both names to one file, because then both locks are one too.
    QLockFile lock(former->lockPath());
    lockKeys(lock, std::chrono::seconds(0));
    const KeyRing before = present.read();
    const KeyRing all = before.withEarlier(former->read());
    if (!(all == before))
        present.write(before, all);
    // Another process may have written it, or moved the keys already.
    if (!(present.read() == all) || former->read().isEmpty())
        return;
    present.sync();
    former->remove();
}

FileKeyStore::FileKeyStore(QString path)
    : files(std::make_unique<Files>(std::move(path)))
{
}

FileKeyStore::~FileKeyStore() = default;

QString FileKeyStore::defaultPath()
{
    return base::stateFolder() + FileName;
}

QString FileKeyStore::path() const
{
    return files->present.path();
}

KeyRing FileKeyStore::read()
{
    KeyRing ring = files->read();
    if (files->isMoveDue()) {
        try {
            files->present.prepareFolder();
            QLockFile lock(files->present.lockPath());
            lockKeys(lock, std::chrono::seconds(0));
            files->move();
        } catch (const KeyError&) {
            // Tried again by the next process, and by each change.
        }
    }
    return ring;
}

KeyRing FileKeyStore::readOrCreate()
{
    KeyRing ring = KeyStore::readOrCreate();
    // Whoever created the file may have been killed before it was durable.
    files->present.sync();
    if (files->former)
        files->former->sync();
    return ring;
}

KeyRing FileKeyStore::change(const Change& change)
{
    files->present.prepareFolder();
    QLockFile lock(files->present.lockPath());
    lockKeys(lock);
    try {
        files->move();
    } catch (const KeyError&) {
        // The change writes its keys to the present file too.
    }
    KeyRing before = files->read();
    const KeyRing after = change(before);
    if (after == before)
        return before;

    files->present.write(files->present.read(), after);
    return files->read();
}

} // namespace sync::core::crypto
