#include <config/PasswordKeys.h>

#include <config/statement/SqlText.h>
#include <config/statement/Statement.h>
#include <core/Cipher.h>
#include <database/HostTransaction.h>
#include <interf/IDatabaseFactory.h>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;

namespace sync::config {

namespace {

constexpr SqlText SelectPasswords(u"SELECT id, encryptedPassword FROM AuthenticationConfiguration"
                                  u" WHERE encryptedPassword IS NOT NULL");
// Compares the previous password too, so that it does not overwrite one that was just changed.
constexpr SqlText UpdatePassword(
    u"UPDATE AuthenticationConfiguration SET encryptedPassword = :encryptedPassword"
    u" WHERE id = :id AND encryptedPassword = :previousPassword");

Unsealed openWithAny(const QByteArray& value, const QVector<KeyRing>& rings)
{
    Unsealed opened = unseal(value, {});
    for (const KeyRing& ring : rings) {
        if (opened.outcome == Unsealed::Outcome::OtherKey)
            opened = unseal(value, ring);
    }
    return opened;
}

} // namespace

struct PasswordKeys::StoredPasswords
{
    bool read = false;
    QVector<StoredPassword> list;
};

PasswordKeys::PasswordKeys(std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory)
    : databaseFactory(std::move(databaseFactory))
{
}

PasswordKeys::~PasswordKeys() = default;

bool PasswordKeys::use(std::shared_ptr<KeyStore> store, OtherBackend otherBackend)
{
    const StoredPasswords passwords = _ReadPasswords();
    if (!passwords.read)
        return false;

    const KeyRing ring = store->read();
    for (const StoredPassword& password : passwords.list) {
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

PasswordKeys::Outcome PasswordKeys::changeKey()
{
    const StoredPasswords passwords = _ReadPasswords();
    if (!passwords.read)
        return {};

    const auto store = keyStore();
    KeyRing ring = store->readOrCreate();
    const bool cutShort = std::any_of(
        passwords.list.begin(), passwords.list.end(), [&ring](const StoredPassword& password) {
            const Unsealed opened = unseal(password.value, ring);
            return opened.outcome == Unsealed::Outcome::Read && opened.keyId != ring.current().id();
        });
    // The new key is durable before it encrypts the first password.
    if (!cutShort)
        ring = store->change([](const KeyRing& present) { return present.withNewKey(); });
    return _Encrypt({ring}, ring.current(), store->backend());
}

PasswordKeys::Outcome PasswordKeys::moveTo(std::shared_ptr<KeyStore> store)
{
    const KeyRing present = keyStore()->read();
    const KeyRing target = store->readOrCreate();
    Outcome outcome = _Encrypt({target, present}, target.current(), store->backend());
    // Accept: a password that cannot be read stays under its old kind of store.
    if (outcome.succeeded)
        setKeyStore(std::move(store), OtherBackend::Accept);
    return outcome;
}

int PasswordKeys::dropUnusedKeys(std::chrono::hours rest)
{
    const StoredPasswords passwords = _ReadPasswords();
    if (!passwords.read)
        return -1;

    QSet<KeyId> used;
    for (const StoredPassword& password : passwords.list)
        used.insert(unseal(password.value, {}).keyId);
    // A value that does not name its key may use any of them.
    if (used.contains(KeyId()))
        return 0;

    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime moment =
        now.addSecs(-std::chrono::duration_cast<std::chrono::seconds>(rest).count());
    qsizetype dropped = 0;
    const auto store = keyStore();
    if (store->read().retiredUntil(moment).subtract(used).isEmpty())
        return 0;
    store->change([&](const KeyRing& ring) {
        const QSet<KeyId> unused = ring.retiredUntil(moment).subtract(used);
        dropped = unused.size();
        return ring.without(unused);
    });
    return static_cast<int>(dropped);
}

PasswordKeys::StoredPasswords PasswordKeys::_ReadPasswords() const
{
    Statement statement(databaseFactory->CreateQuery(), SelectPasswords);
    StoredPasswords passwords;
    passwords.read = statement.exec();
    for (const RowReader row = statement.row(); passwords.read && row.next();)
        passwords.list.append({row.integer(0), row.value(1).toByteArray()});
    // A list that broke off would make keys look unused that later passwords need.
    passwords.read = passwords.read && statement.lastError().isEmpty();
    return passwords;
}

PasswordKeys::Outcome PasswordKeys::_Encrypt(
    const QVector<KeyRing>& rings, const Key& key, KeyBackend backend) const
{
    database::HostTransaction transaction(*databaseFactory);
    const StoredPasswords passwords = transaction.isOpen() ? _ReadPasswords() : StoredPasswords();
    if (!passwords.read)
        return {};

    Outcome outcome;
    for (const StoredPassword& password : passwords.list) {
        const Unsealed opened = openWithAny(password.value, rings);
        if (opened.outcome != Unsealed::Outcome::Read) {
            outcome.unreadableIds.append(password.signInId);
            continue;
        }
        if (opened.keyId == key.id() && opened.backend == backend)
            continue;
        if (!_Replace(password, seal(opened.secret.view(), key, backend), outcome.encrypted))
            return {};
    }
    outcome.succeeded = transaction.commit();
    return outcome.succeeded ? outcome : Outcome();
}

bool PasswordKeys::_Replace(
    const StoredPassword& password, const QByteArray& value, int& replaced) const
{
    const int rows = Statement(databaseFactory->CreateQuery(), UpdatePassword)
                         .bind(u":id"_s, password.signInId)
                         .bind(u":encryptedPassword"_s, QVariant(value))
                         .bind(u":previousPassword"_s, QVariant(password.value))
                         .execCounting();
    replaced += std::max(rows, 0);
    return rows >= 0;
}

} // namespace sync::config
