#include <core/KeychainKeyStore.h>

#include <base/FileError.h>
#include <base/Folders.h>
#include <base/Sodium.h>
#include <core/keys/KeyLock.h>

#include <QLockFile>
#include <QMutexLocker>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

namespace {

KeyError errorOf(const Keychain::Answer& answer)
{
    switch (answer.status) {
    case Keychain::Status::Locked:
        return {
            KeyError::Cause::Locked,
            u"The system's keychain is locked, so the password keys cannot be read: %1. Unlock it "
            "and grant access."_s.arg(answer.error)};
    case Keychain::Status::Absent:
        return {
            KeyError::Cause::Absent,
            u"No system keychain is available for the password keys: %1. Start its service, or "
            "choose a key file."_s.arg(answer.error)};
    default:
        return {
            KeyError::Cause::Other,
            u"The system's keychain did not return the password keys: %1. Try again."_s.arg(
                answer.error)};
    }
}

QByteArray entryOf(const KeyRing& ring)
{
    const SecureBytes bytes = ring.toBytes();
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size())};
}

void wipe(QByteArray& entry)
{
    sodium_memzero(entry.data(), static_cast<std::size_t>(entry.size()));
}

KeyRing ringOf(QByteArray entry)
{
    const auto* const bytes = reinterpret_cast<const unsigned char*>(entry.constData());
    const auto ring =
        KeyRing::fromBytes(SecureBytes::copyOf({bytes, static_cast<std::size_t>(entry.size())}));
    wipe(entry);
    if (!ring) {
        throw KeyError(
            KeyError::Cause::Damaged, u"The password keys in the system's keychain are damaged. "
                                      "Remove the entry and enter the passwords again."_s);
    }
    return *ring;
}

// A file, because a keychain has no atomic change that excludes other processes.
QString lockPath()
{
    const QString folder =
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/velmio"_s;
    try {
        base::createFolders(folder);
    } catch (const base::FileError&) {
        // The lock says that it cannot be written.
    }
    return folder + u"/keychain.lock"_s;
}

} // namespace

Keychain::~Keychain() = default;

KeychainKeyStore::KeychainKeyStore(std::unique_ptr<Keychain> keychain)
    : keychain(std::move(keychain))
{
}

KeychainKeyStore::~KeychainKeyStore() = default;

KeyRing KeychainKeyStore::read()
{
    const QMutexLocker locker(&mutex);
    if (!known)
        known = _ReadEntry();
    return *known;
}

KeyRing KeychainKeyStore::change(const Change& change)
{
    const QMutexLocker locker(&mutex);
    // Shows its prompt before others wait for the lock.
    _ReadEntry();
    QLockFile lock(lockPath());
    lockKeys(lock);
    const KeyRing before = _ReadEntry();
    KeyRing after = change(before);
    if (!(after == before)) {
        QByteArray entry = entryOf(after);
        const Keychain::Answer answer = keychain->write(entry);
        wipe(entry);
        if (answer.status != Keychain::Status::Done)
            throw errorOf(answer);
    }
    known = after;
    return after;
}

void KeychainKeyStore::forget()
{
    const QMutexLocker locker(&mutex);
    known.reset();
}

KeyRing KeychainKeyStore::_ReadEntry()
{
    Keychain::Answer answer = keychain->read();
    if (answer.status == Keychain::Status::Empty)
        return {};
    if (answer.status != Keychain::Status::Done)
        throw errorOf(answer);
    return ringOf(std::exchange(answer.entry, {}));
}

} // namespace sync::core::crypto
