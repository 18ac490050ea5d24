#include <config/PasswordKeys.h>

#include <config/passwords/StoredPasswords.h>
#include <core/Cipher.h>
#include <database/HostTransaction.h>
#include <interf/IDatabaseFactory.h>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;

namespace sync::config {

namespace {

Unsealed openWithAny(
    const QByteArray& value, const QVector<KeyRing>& rings, const SecretContext& context,
    PasswordKeys::Accept accept)
{
    using Accept = PasswordKeys::Accept;
    Unsealed opened = unseal(value, {});
    for (const KeyRing& ring : rings) {
        if (opened.outcome != Unsealed::Outcome::OtherKey)
            break;
        if (accept == Accept::Nothing)
            opened = unseal(value, ring, context);
        else if (accept == Accept::Earlier)
            opened = unseal(value, ring.withoutStore(context.storeId), context);
        else
            opened = unseal(value, ring);
    }
    return opened;
}

} // namespace

// For mingw, which exports a constant of a class only if it is also defined here.
constexpr std::chrono::hours PasswordKeys::DefaultKeyRest;

PasswordKeys::PasswordKeys(std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory)
    : databaseFactory(std::move(databaseFactory))
{
}

PasswordKeys::~PasswordKeys() = default;

bool PasswordKeys::use(std::shared_ptr<KeyStore> store, OtherBackend otherBackend)
{
    const auto passwords = readPasswords(*databaseFactory);
    if (!passwords)
        return false;

    const KeyRing ring = store->read();
    for (const StoredPassword& password : *passwords) {
        const Unsealed opened = unseal(password.value, ring);
        const bool elsewhere =
            opened.outcome == Unsealed::Outcome::OtherKey && opened.backend != store->backend();
        if (elsewhere && otherBackend == OtherBackend::Refuse) {
            throw KeyError(
                KeyError::Cause::OtherBackend,
                u"The stored passwords use keys of %1, not of %2. Use %1 again, or move the "
                "passwords."_s.arg(backendName(opened.backend), backendName(store->backend())));
        }
    }
    setKeyStore(std::move(store), otherBackend);
    return true;
}

PasswordKeys::Outcome PasswordKeys::changeKey(Accept accept)
{
    const auto passwords = readPasswords(*databaseFactory);
    if (!passwords)
        return {};

    const auto store = keyStore();
    KeyRing ring = store->readOrCreate();
    const PasswordContexts contexts(*databaseFactory);
    const bool cutShort =
        std::any_of(passwords->begin(), passwords->end(), [&](const StoredPassword& password) {
            const Unsealed opened = unseal(password.value, ring, password.context(contexts));
            return opened.outcome == Unsealed::Outcome::Read && opened.keyId != ring.current().id();
        });
    if (contexts.failed())
        return {};
    // The new key is durable before it encrypts the first password.
    if (!cutShort)
        ring = store->change([](const KeyRing& present) { return present.withNewKey(); });
    Outcome outcome = _Encrypt({ring}, *store, accept);
    if (outcome.succeeded && outcome.unreadableIds.isEmpty())
        _NoteStore(*store);
    return outcome;
}

PasswordKeys::Outcome PasswordKeys::useCurrentKey(Accept accept)
{
    const auto passwords = readPasswords(*databaseFactory);
    if (!passwords || passwords->empty())
        return {.succeeded = passwords.has_value()};
    const auto store = keyStore();
    return _Encrypt({store->readOrCreate()}, *store, accept);
}

std::optional<QVector<int>> PasswordKeys::putBackIds() const
{
    const auto passwords = readPasswords(*databaseFactory);
    if (!passwords)
        return {};
    QVector<int> ids;
    const KeyRing ring = passwords->empty() ? KeyRing() : keyStore()->read();
    const PasswordContexts contexts(*databaseFactory);
    for (const StoredPassword& password : *passwords) {
        if (unseal(password.value, ring, password.context(contexts)).outcome ==
            Unsealed::Outcome::Outdated)
            ids.append(password.signInId);
    }
    return contexts.failed() ? std::nullopt : std::optional(ids);
}

PasswordKeys::Outcome PasswordKeys::moveTo(std::shared_ptr<KeyStore> store)
{
    const KeyRing present = keyStore()->read();
    const KeyRing target = store->readOrCreate();
    Outcome outcome = _Encrypt({target, present}, *store, Accept::Nothing);
    // Accept: a password that cannot be read stays under its old kind of store.
    if (outcome.succeeded && outcome.unreadableIds.isEmpty())
        _NoteStore(*store);
    if (outcome.succeeded)
        setKeyStore(std::move(store), OtherBackend::Accept);
    return outcome;
}

std::optional<QSet<KeyId>> PasswordKeys::usedKeys() const
{
    const auto passwords = readPasswords(*databaseFactory);
    if (!passwords)
        return {};
    QSet<KeyId> used;
    for (const StoredPassword& password : *passwords)
        used.insert(unseal(password.value, {}).keyId);
    return used;
}

int PasswordKeys::dropUnusedKeys(
    std::chrono::hours rest, const QSet<KeyId>& keep, OtherStores otherStores)
{
    const auto used = usedKeys();
    if (!used)
        return -1;
    if (used->contains(KeyId()))
        return 0;

    const QString storeId = PasswordContexts(*databaseFactory).storeId();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime moment =
        now.addSecs(-std::chrono::duration_cast<std::chrono::seconds>(rest).count());
    const auto unusedIn = [&](const KeyRing& ring) {
        QSet<KeyId> unused = ring.retiredUntil(moment).subtract(*used).subtract(keep);
        if (otherStores == OtherStores::Keep)
            unused.subtract(ring.neededByStoresOtherThan(storeId));
        return unused;
    };
    const auto store = keyStore();
    if (unusedIn(store->read()).isEmpty())
        return 0;
    qsizetype dropped = 0;
    store->change([&](const KeyRing& ring) {
        const QSet<KeyId> unused = unusedIn(ring);
        dropped = unused.size();
        return ring.without(unused);
    });
    return static_cast<int>(dropped);
}

PasswordKeys::Outcome PasswordKeys::_Encrypt(
    const QVector<KeyRing>& rings, KeyStore& store, Accept accept)
{
    database::HostTransaction transaction(*databaseFactory);
    const auto passwords = transaction.isOpen() ? readPasswords(*databaseFactory) : std::nullopt;
    if (!passwords)
        return {};

    const Key& key = rings.first().current();
    const PasswordContexts contexts(*databaseFactory);
    Outcome outcome;
    for (const StoredPassword& password : *passwords) {
        const SecretContext context = password.context(contexts);
        const Unsealed present = openWithAny(password.value, rings, context, Accept::Nothing);
        const bool isCurrent = present.outcome == Unsealed::Outcome::Read &&
                               present.keyId == key.id() && present.backend == store.backend() &&
                               present.bound == context.isKnown();
        if (isCurrent)
            continue;
        const Unsealed opened = openWithAny(password.value, rings, context, accept);
        if (opened.outcome != Unsealed::Outcome::Read) {
            outcome.unreadableIds.append(password.signInId);
            continue;
        }
        const QByteArray value = seal(opened.secret.view(), key, store.backend(), context);
        const int replaced = replacePassword(*databaseFactory, password, value);
        if (replaced < 0)
            return {};
        outcome.encrypted += replaced;
    }
    outcome.succeeded = !contexts.failed() && transaction.commit();
    return outcome.succeeded ? outcome : Outcome();
}

// A file is read again at each use, so whoever stores a password later, under the write lock, uses
// the current key. What has read a keychain before may still use an earlier key.
void PasswordKeys::_NoteStore(KeyStore& store) const
{
    const QString storeId = PasswordContexts(*databaseFactory).storeId();
    const KeyRing ring = store.read();
    const KeyId noted = ring.oldestOf(storeId);
    const bool seesNewKeys = store.backend() == KeyBackend::File;
    const KeyId oldest = seesNewKeys ? ring.current().id() : ring.ids().last();
    if (storeId.isEmpty() || noted == oldest || (!seesNewKeys && !noted.isEmpty()))
        return;
    store.change([&](const KeyRing& present) { return present.withStore(storeId, oldest); });
}

} // namespace sync::config
