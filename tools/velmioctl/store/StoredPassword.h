#pragma once

#include <core/KeyRing.h>
#include <core/SecretContext.h>
#include <core/SecretText.h>

#include <QString>
#include <QVariant>

#include <vector>

namespace velmioctl {

class WatchedDatabase;

/// What is known about a stored password.
struct StoredPassword
{
    enum class State {
        Ok,
        None,
        NoKey,    ///< There is no key, or the keys cannot be read.
        OtherKey, ///< The key store does not have the key that encrypted it.
        Damaged,
        UnknownVersion,
        OtherStore,
        OtherRecord, ///< The password of another sign-in, or the sign-in was changed under it.
        OtherServer, ///< The address of the server was changed under it, or it was moved.
        Outdated,    ///< Put back from before the last change of the key.
    };

    bool isUnreadable() const { return state != State::Ok && state != State::None; }
    /// It cannot be read only because of where it is.
    bool isDisplaced() const { return state >= State::OtherStore; }

    State state = State::None;
    QString keyId = {};  ///< In hexadecimal digits; empty if it is not known.
    QString reason = {}; ///< Why it cannot be read, for a person.
    sync::core::crypto::SecretText password = {}; ///< Only where the state is Ok.
    bool bound = false;                           ///< It was encrypted for the place where it is.
};

/// Decrypts stored passwords. Reads the key store once, and only when a password needs it.
class PasswordReader
{
public:
    /// Without a context it does not notice that the password was moved.
    StoredPassword read(
        const QVariant& stored, const sync::core::crypto::SecretContext& context = {});

    /// Throws CommandError if a password could not be read because there is no key.
    void requireKey() const;

private:
    void readKeys();

    bool keysRead = false;
    sync::core::crypto::KeyRing ring;
    QString keyError;
};

/// The ids of the sign-ins whose password can be read where it is. Throws CommandError.
std::vector<int> signInsWithPassword(WatchedDatabase& database);

/// Throws CommandError if a change of the sign-in or its server would leave the password behind
/// because its key is not available. `signIn` names it for a person.
void requireToTakeAlong(const StoredPassword& password, const QString& signIn);

/// The id of a key in hexadecimal digits.
QString keyText(const sync::core::crypto::KeyId& id);

/// Where the keys of this process are kept, such as `the key file "/home/kim/..."`.
QString keyPlace();

} // namespace velmioctl
