#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <core/KeyStore.h>
#include <core/SecretContext.h>
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
        OtherStore,     ///< It was stored in another store.
        OtherRecord,    ///< It was stored for another record.
        OtherServer,    ///< It was stored for other servers than those of the context.
        Outdated,       ///< It was stored before all secrets of the store were encrypted again.
    };

    Outcome outcome = Outcome::Damaged; ///< Read, or the reason why `secret` is null.
    int version = 0;                    ///< Of the stored form.
    KeyBackend backend = {};            ///< The kind of store that keeps the key.
    KeyId keyId;                        ///< Empty if the value is too damaged to say.
    bool bound = false;                 ///< True if the secret is bound to a context.
    SecretText secret;                  ///< Null unless it was read.
};

/// Encrypts a secret with a key that a store of this kind keeps. Each call returns another value.
///
/// For hosts that choose the key themselves, as when they move passwords to another key store; all
/// others call Encrypt(). Any thread may call it.
///
/// With a context whose store is known, the secret is bound to it. @{
VELMIO_CORE_EXPORT QByteArray seal(const QString& secret, const Key& key, KeyBackend backend);
VELMIO_CORE_EXPORT QByteArray
seal(const QString& secret, const Key& key, KeyBackend backend, const SecretContext& context);
///@}

/// Decrypts what seal() or Encrypt() returned with a key of the ring, and says why if it cannot.
///
/// With an empty ring it returns what the value says of itself: its version, the id of its key and
/// the kind of store that keeps it. Logs nothing. Any thread may call it.
///
/// With a context it reads only what belongs there. A secret that is not bound was stored by an
/// earlier version or without a context: it is read until the ring says that all secrets of the
/// store have been encrypted again. Without a context nothing is compared: a secret that was moved
/// is read as well. @{
VELMIO_CORE_EXPORT Unsealed unseal(const QByteArray& stored, const KeyRing& ring);
VELMIO_CORE_EXPORT Unsealed
unseal(const QByteArray& stored, const KeyRing& ring, const SecretContext& context);
///@}

} // namespace sync::core::crypto
