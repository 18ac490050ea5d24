#pragma once

#include <core/KeyRing.h>
#include <core/SecretText.h>

#include <QString>
#include <QVariant>

namespace velmioctl {

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
    };

    bool isUnreadable() const { return state != State::Ok && state != State::None; }

    State state = State::None;
    QString keyId = {};  ///< In hexadecimal digits; empty if it is not known.
    QString reason = {}; ///< Why it cannot be read, for a person.
    sync::core::crypto::SecretText password = {}; ///< Only where the state is Ok.
};

/// Decrypts stored passwords. Reads the key store once, and only when a password needs it.
class PasswordReader
{
public:
    StoredPassword read(const QVariant& stored);

    /// Throws CommandError if a password could not be read because there is no key.
    void requireKey() const;

private:
    void readKeys();

    bool keysRead = false;
    sync::core::crypto::KeyRing ring;
    QString keyError;
};

/// Where the keys of this process are kept, such as `the key file "/home/kim/..."`.
QString keyPlace();

} // namespace velmioctl
