#pragma once

#include <core/KeyRing.h>

#include <QString>
#include <QVariant>

namespace velmioctl {

/// What can be told of a stored password.
struct StoredPassword
{
    enum class State {
        Ok,
        None,
        NoKey,    ///< There is no key at all, or the keys cannot be read.
        OtherKey, ///< The key store does not have the key that it was stored under.
        Damaged,
        UnknownVersion,
    };

    bool isUnreadable() const { return state != State::Ok && state != State::None; }

    State state = State::None;
    QString keyId = {};    ///< In hexadecimal digits; empty where it cannot be told.
    QString reason = {};   ///< Why it cannot be read, for a person.
    QString password = {}; ///< In clear, only where the state is Ok.
};

/// Deciphers stored passwords. The key store is asked once, and only when a password needs it.
class PasswordReader
{
public:
    StoredPassword read(const QVariant& stored);

    /// Throws CommandError when a password could not be read for want of any key.
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
