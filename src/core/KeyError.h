#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>

#include <stdexcept>

namespace sync::core::crypto {

/// There is no key to encrypt a password with, or the keys cannot be changed. what() is UTF-8 text
/// for a person: it names the place, the cause and the remedy, and never a secret.
class VELMIO_CORE_EXPORT KeyError : public std::runtime_error
{
public:
    /// What kind of trouble it is, for programs that answer to it.
    enum class Cause {
        Other,        ///< None of those below; the text tells.
        NoPermission, ///< The key file, or a folder above it, may not be read.
        NotWritable,  ///< The place does not take the key file.
        Unsafe,       ///< Others can read or change the key file, or it is not the user's own file.
        Damaged,      ///< What is stored are no keys: wrong size, format or checksum.
        Locked,       ///< The keychain is locked, or the user denied access to it.
        Absent,       ///< There is no keychain.
        OtherBackend, ///< Passwords are stored under keys that another kind of store keeps.
        HandedOver,   ///< The host hands the keys over, so only the host can change them.
    };

    /// An error with this text for a person, in which no secret may stand.
    KeyError(Cause cause, const QString& text);
    ~KeyError() override;

    /// What kind of trouble it is.
    Cause cause() const noexcept { return reason; }

    /// what() as a QString.
    QString text() const;

private:
    Cause reason;
};

} // namespace sync::core::crypto
