#include <velmioctl/store/StoredPassword.h>

#include <config/PasswordContexts.h>
#include <core/Cipher.h>
#include <core/Crypto.h>
#include <core/FileKeyStore.h>
#include <core/KeyError.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;

namespace velmioctl {

namespace {

QString reasonOf(const Unsealed& opened, bool anyKey)
{
    switch (opened.outcome) {
    case Unsealed::Outcome::Read:
        return {};
    case Unsealed::Outcome::Damaged:
        return u"damaged"_s;
    case Unsealed::Outcome::UnknownVersion:
        return u"unknown version %1"_s.arg(opened.version);
    case Unsealed::Outcome::OtherStore:
        return u"copied from another database"_s;
    case Unsealed::Outcome::OtherRecord:
        return u"stored for another domain or user"_s;
    case Unsealed::Outcome::OtherServer:
        return u"stored for another server or address"_s;
    case Unsealed::Outcome::Outdated:
        return u"put back from before a rekey"_s;
    case Unsealed::Outcome::OtherKey:
        break;
    }
    return u"%1 key %2 of %3"_s.arg(
        anyKey ? u"another key,"_s : u"no key, needs"_s, keyText(opened.keyId),
        backendName(opened.backend));
}

StoredPassword::State stateOf(const Unsealed& opened, bool anyKey)
{
    using State = StoredPassword::State;
    switch (opened.outcome) {
    case Unsealed::Outcome::Read:
        // A sign-in that was stored without a password holds an encrypted null text.
        return opened.secret.isNull() ? State::None : State::Ok;
    case Unsealed::Outcome::Damaged:
        return State::Damaged;
    case Unsealed::Outcome::UnknownVersion:
        return State::UnknownVersion;
    case Unsealed::Outcome::OtherStore:
        return State::OtherStore;
    case Unsealed::Outcome::OtherRecord:
        return State::OtherRecord;
    case Unsealed::Outcome::OtherServer:
        return State::OtherServer;
    case Unsealed::Outcome::Outdated:
        return State::Outdated;
    case Unsealed::Outcome::OtherKey:
        break;
    }
    return anyKey ? State::OtherKey : State::NoKey;
}

} // namespace

std::vector<int> signInsWithPassword(WatchedDatabase& database)
{
    const sync::config::PasswordContexts contexts(database);
    PasswordReader reader;
    std::vector<int> ids;
    const auto query = database.select(u"SELECT id, encryptedPassword, domain, userName, serverId"
                                       u" FROM AuthenticationConfiguration ORDER BY id"_s);
    while (query->next()) {
        const auto context = contexts.of(
            query->value(2).toString(), query->value(3).toString(), query->value(4).toInt());
        if (reader.read(query->value(1), context).state == StoredPassword::State::Ok)
            ids.push_back(query->value(0).toInt());
    }
    database.check();
    return ids;
}

void requireToTakeAlong(const StoredPassword& password, const QString& signIn)
{
    using State = StoredPassword::State;
    const bool needsKey = password.state == State::NoKey || password.state == State::OtherKey ||
                          password.state == State::UnknownVersion;
    if (!needsKey || !password.bound)
        return;
    throw CommandError(
        ExitCode::KeyUnavailable,
        u"Nothing was changed, because the password of the %1 is bound to its user and server, and "
        u"cannot be encrypted again: %2. Restore its key, store the password again with 'velmioctl "
        u"signin password', or make the change in the client."_s.arg(signIn, password.reason));
}

QString keyText(const KeyId& id)
{
    return QString::fromLatin1(id.toHex());
}

QString keyPlace()
{
    const auto store = keyStore();
    if (const auto* const file = dynamic_cast<const FileKeyStore*>(store.get()))
        return u"the key file %1"_s.arg(quoted(file->path()));
    return backendName(store->backend());
}

StoredPassword PasswordReader::read(const QVariant& stored, const SecretContext& context)
{
    if (stored.isNull())
        return {};
    const QByteArray value = stored.toByteArray();
    // Damage and an unknown version are found without a key.
    Unsealed opened = unseal(value, {});
    if (opened.outcome == Unsealed::Outcome::OtherKey) {
        readKeys();
        opened = unseal(value, ring, context);
    }
    const auto state = stateOf(opened, !ring.isEmpty());
    return {
        .state = state,
        .keyId = state == StoredPassword::State::None ? QString() : keyText(opened.keyId),
        .reason = reasonOf(opened, !ring.isEmpty()),
        .password = std::move(opened.secret),
        .bound = opened.bound,
    };
}

void PasswordReader::requireKey() const
{
    if (!keyError.isEmpty())
        throw CommandError(ExitCode::KeyUnavailable, keyError);
}

void PasswordReader::readKeys()
{
    if (std::exchange(keysRead, true))
        return;
    try {
        ring = keyStore()->read();
    } catch (const KeyError& error) {
        keyError = error.text();
        return;
    }
    if (ring.isEmpty()) {
        keyError = u"The stored passwords cannot be read, because there is no key in %1. Restore "
                   u"the key from a backup, or store the passwords again with 'velmioctl signin "
                   u"password'."_s.arg(keyPlace());
    }
}

} // namespace velmioctl
