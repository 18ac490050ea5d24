#include <velmioctl/store/StoredPassword.h>

#include <core/Cipher.h>
#include <core/Crypto.h>
#include <core/FileKeyStore.h>
#include <core/KeyError.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>

using namespace Qt::StringLiterals;
using namespace sync::core::crypto;

namespace velmioctl {

namespace {

StoredPassword readOpened(const Unsealed& opened)
{
    // A sign-in that was stored without a password holds an encrypted null text.
    if (opened.secret.isNull())
        return {};
    return {
        .state = StoredPassword::State::Ok,
        .keyId = QString::fromLatin1(opened.keyId.toHex()),
        .password = opened.secret,
    };
}

} // namespace

QString keyPlace()
{
    const auto store = keyStore();
    if (const auto* const file = dynamic_cast<const FileKeyStore*>(store.get()))
        return u"the key file %1"_s.arg(quoted(file->path()));
    return backendName(store->backend());
}

StoredPassword PasswordReader::read(const QVariant& stored)
{
    using State = StoredPassword::State;
    if (stored.isNull())
        return {};
    const QByteArray value = stored.toByteArray();
    // Damage and an unknown version are found without a key.
    Unsealed opened = unseal(value, {});
    if (opened.outcome == Unsealed::Outcome::OtherKey) {
        readKeys();
        opened = unseal(value, ring);
    }

    const QString keyId = QString::fromLatin1(opened.keyId.toHex());
    switch (opened.outcome) {
    case Unsealed::Outcome::Read:
        return readOpened(opened);
    case Unsealed::Outcome::Damaged:
        return {.state = State::Damaged, .keyId = keyId, .reason = u"damaged"_s};
    case Unsealed::Outcome::UnknownVersion:
        return {
            .state = State::UnknownVersion,
            .keyId = keyId,
            .reason = u"unknown version %1"_s.arg(opened.version)};
    case Unsealed::Outcome::OtherKey:
        break;
    }
    const QString itsKey = u"key %1 of %2"_s.arg(keyId, backendName(opened.backend));
    if (ring.isEmpty())
        return {.state = State::NoKey, .keyId = keyId, .reason = u"no key, needs "_s + itsKey};
    return {.state = State::OtherKey, .keyId = keyId, .reason = u"another key, "_s + itsKey};
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
