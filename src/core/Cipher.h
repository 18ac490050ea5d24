#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <core/KeyStore.h>
#include <core/SecretText.h>

#include <QByteArray>
#include <QString>

namespace sync::core::crypto {

/// What unseal() found in a stored secret.
struct Unsealed
{
    /// Whether the secret could be read, or why not.
    enum class Outcome {
        Read,           ///< `secret` holds the text.
        Damaged,        ///< The bytes were changed, or are not a stored secret.
        UnknownVersion, ///< A newer library stored it.
        OtherKey,       ///< The ring does not have the key with this id.
    };

    Outcome outcome = Outcome::Damaged; ///< Read, or the reason why `secret` is null.
    int version = 0;                    ///< Of the stored form.
    KeyBackend backend = {};            ///< The kind of store that keeps the key.
    KeyId keyId;                        ///< Empty if the value is too damaged to say.
    SecretText secret;                  ///< Null unless it was read.
};

/// Encrypts a secret with a key that a store of this kind keeps. Each call returns another value.
///
/// For hosts that choose the key themselves, as when they move passwords to another key store; all
/// others call Encrypt(). Any thread may call it.
VELMIO_CORE_EXPORT QByteArray seal(const QString& secret, const Key& key, KeyBackend backend);

/// Decrypts what seal() or Encrypt() returned with a key of the ring, and says why if it cannot.
///
/// With an empty ring it returns what the value says of itself: its version, the id of its key and
/// the kind of store that keeps it. Logs nothing. Any thread may call it.
VELMIO_CORE_EXPORT Unsealed unseal(const QByteArray& stored, const KeyRing& ring);

} // namespace sync::core::crypto
