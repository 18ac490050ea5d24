#include <core/FileKeyStore.h>

#include <core/keys/KeyFile.h>
#include <core/keys/KeyLock.h>

#include <QLockFile>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

FileKeyStore::FileKeyStore(QString path)
    : file(std::make_unique<KeyFile>(std::move(path)))
{
}

FileKeyStore::~FileKeyStore() = default;

QString FileKeyStore::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           u"/velmio/password.key"_s;
}

QString FileKeyStore::path() const
{
    return file->path();
}

KeyRing FileKeyStore::read()
{
    return file->read();
}

KeyRing FileKeyStore::readOrCreate()
{
    KeyRing ring = KeyStore::readOrCreate();
    // Whoever created the file may have been killed before it was durable.
    file->sync();
    return ring;
}

KeyRing FileKeyStore::change(const Change& change)
{
    file->prepareFolder();
    QLockFile lock(file->path() + u".lock"_s);
    lockKeys(lock);
    const KeyRing before = file->read();
    const KeyRing after = change(before);
    if (after.ids() == before.ids())
        return before;

    file->write(before, after);
    return file->read();
}

} // namespace sync::core::crypto
