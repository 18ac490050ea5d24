#include <core/Crypto.h>

#include <core/Cipher.h>
#include <core/FileKeyStore.h>
#include <core/KeychainKeyStore.h>

#include <QLoggingCategory>

#include <mutex>
#include <optional>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

namespace {

Q_LOGGING_CATEGORY(logCategory, "velmio.crypto", QtWarningMsg)

// Where each session has a keychain, so that passwords never need another store.
#if defined(VELMIO_WITH_KEYCHAIN) && (defined(Q_OS_MACOS) || defined(Q_OS_WIN))
constexpr bool KeychainIsDefault = true;
#else
constexpr bool KeychainIsDefault = false;
#endif

bool mayHaveKeys(KeyStore& store)
{
    try {
        return !store.read().isEmpty();
    } catch (const KeyError&) {
        return true;
    }
}

std::shared_ptr<KeyStore> defaultKeyStore()
{
    auto file = std::make_shared<FileKeyStore>();
    if (KeychainIsDefault && !mayHaveKeys(*file))
        return std::make_shared<KeychainKeyStore>();
    return file;
}

/// The key store of the process, and the kind of store of a password that needs another.
struct Choice
{
    std::mutex mutex;
    std::shared_ptr<KeyStore> store;
    OtherBackend otherBackend = OtherBackend::Refuse;
    std::optional<KeyBackend> otherSeen;
};

Choice& choice()
{
    static Choice present;
    return present;
}

void rememberOther(KeyBackend backend)
{
    Choice& present = choice();
    const std::lock_guard lock(present.mutex);
    present.otherSeen = backend;
}

void refuseSwitch(KeyBackend backend)
{
    Choice& present = choice();
    const std::lock_guard lock(present.mutex);
    if (present.otherBackend == OtherBackend::Accept || !present.otherSeen)
        return;
    throw KeyError(
        KeyError::Cause::OtherBackend,
        u"The password is not stored: the keys come from %1, but stored passwords use keys of %2. "
        "Use %2 again, or move the passwords."_s.arg(
            backendName(backend), backendName(*present.otherSeen)));
}

void warn(const QString& reason)
{
    qCWarning(logCategory).noquote() << u"A stored password cannot be read: %1"_s.arg(reason);
}

QString hex(const KeyId& id)
{
    return QString::fromLatin1(id.toHex());
}

void warnOfOtherKey(const Unsealed& opened, const KeyRing& ring, KeyBackend backend)
{
    if (opened.backend != backend)
        rememberOther(opened.backend);
    if (ring.isEmpty()) {
        warn(u"there is no key in %1; it was stored under key %2 of %3."_s.arg(
            backendName(backend), hex(opened.keyId), backendName(opened.backend)));
        return;
    }
    warn(u"it was stored under another key, %1 of %2; the current key is %3 of %4."_s.arg(
        hex(opened.keyId), backendName(opened.backend), hex(ring.current().id()),
        backendName(backend)));
}

QString decryptBytes(const QByteArray& stored, KeyStore& store, const SecretContext& context)
{
    using Outcome = Unsealed::Outcome;
    // Needs no key to recognise damage or an unknown version.
    Unsealed opened = unseal(stored, {});
    KeyRing ring;
    if (opened.outcome == Outcome::OtherKey) {
        ring = store.read();
        opened = unseal(stored, ring, context);
    }
    switch (opened.outcome) {
    case Outcome::Read:
        break;
    case Outcome::Damaged:
        warn(u"it is damaged."_s);
        break;
    case Outcome::UnknownVersion:
        warn(u"its format has the unknown version %1."_s.arg(opened.version));
        break;
    case Outcome::OtherKey:
        warnOfOtherKey(opened, ring, store.backend());
        break;
    case Outcome::OtherStore:
        warn(u"it was copied from another store."_s);
        break;
    case Outcome::OtherRecord:
        warn(u"it was stored for another record, or the record was changed under it."_s);
        break;
    case Outcome::OtherServer:
        warn(u"the address of its server was changed under it, or it was moved."_s);
        break;
    case Outcome::Outdated:
        warn(u"it was put back: all passwords have been encrypted again since it was stored."_s);
        break;
    }
    return opened.secret.toString();
}

} // namespace

QVariant Encrypt(QString secret)
{
    return Encrypt(secret, {});
}

QVariant Encrypt(QString secret, const SecretContext& context)
{
    const auto store = keyStore();
    refuseSwitch(store->backend());
    return seal(secret, store->readOrCreate().current(), store->backend(), context);
}

QString Decrypt(QVariant stored)
{
    return Decrypt(stored, {});
}

QString Decrypt(QVariant stored, const SecretContext& context)
{
    const QByteArray bytes = stored.toByteArray();
    if (stored.isNull() || (bytes.isNull() && stored.canConvert<QByteArray>()))
        return {};
    try {
        return decryptBytes(bytes, *keyStore(), context);
    } catch (const KeyError& error) {
        warn(u"there is no key. %1"_s.arg(error.text()));
        return {};
    }
}

void setKeyStore(std::shared_ptr<KeyStore> store, OtherBackend otherBackend)
{
    Choice& present = choice();
    const std::lock_guard lock(present.mutex);
    present.store = std::move(store);
    present.otherBackend = otherBackend;
    present.otherSeen.reset();
}

std::shared_ptr<KeyStore> keyStore()
{
    Choice& present = choice();
    const std::lock_guard lock(present.mutex);
    if (!present.store)
        present.store = defaultKeyStore();
    return present.store;
}

} // namespace sync::core::crypto
