#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>

#include <stdexcept>

namespace sync::core::crypto {

/// No key is available to encrypt a password, or the keys cannot be changed. what() is UTF-8 text
/// for a person: it names the place, the cause and the remedy, and never a secret.
class VELMIO_CORE_EXPORT KeyError : public std::runtime_error
{
public:
    /// The kind of error, for programs that handle it.
    enum class Cause {
        Other,        ///< None of the following; see the text.
        NoPermission, ///< No permission to read the key file or a folder above it.
        NotWritable,  ///< The key file cannot be written at its place.
        Unsafe,       ///< Others can access or exchange the key file, or it is another user's.
        Damaged,      ///< The stored keys have a wrong size, format or checksum.
        Locked,       ///< The keychain is locked, or the user denied access to it.
        Absent,       ///< No keychain is available.
        OtherBackend, ///< Stored passwords use keys of another kind of store.
        HandedOver,   ///< The host passes the keys in, so only the host can change them.
    };

    /// An error with this text for a person, which must not contain a secret.
    KeyError(Cause cause, const QString& text);
    ~KeyError() override;

    /// The kind of error.
    Cause cause() const noexcept { return reason; }

    /// what() as a QString.
    QString text() const;

private:
    Cause reason;
};

} // namespace sync::core::crypto
