#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <core/KeyStore.h>

#include <QString>
#include <QVariant>

#include <memory>

/// Encryption of stored passwords, and where its keys live.
namespace sync::core::crypto {

/// What Encrypt() does after Decrypt() has met a password whose key another kind of store keeps.
enum class OtherBackend {
    Refuse, ///< It throws, so that passwords never come to lie under two kinds of store unnoticed.
    Accept, ///< It encrypts with the present store.
};

/// Encrypts a secret with the current key of the key store; the result is a column's value.
///
/// XChaCha20-Poly1305 with a fresh nonce, so that each call gives another value. Any string comes
/// back from Decrypt() as it was, a null one as null. Makes the key on first use. Throws KeyError
/// when there is no key to be had: a secret is never given back in clear. Any thread may call it.
VELMIO_CORE_EXPORT QVariant Encrypt(QString secret);

/// Decrypts a column's value that Encrypt() made; any thread may call it.
///
/// NULL gives a null string. So does a value that cannot be deciphered, and then one warning in the
/// logging category "velmio.crypto" tells why: no key, another key, damage, or an unknown version.
VELMIO_CORE_EXPORT QString Decrypt(QVariant stored);

/// Chooses where the keys live, for the whole process. Hosts call it before the first use.
///
/// Without it, and for a null `store`, the keys are in a FileKeyStore at its default path.
VELMIO_CORE_EXPORT void setKeyStore(
    std::shared_ptr<KeyStore> store, OtherBackend otherBackend = OtherBackend::Refuse);

/// The key store in use; never null.
VELMIO_CORE_EXPORT std::shared_ptr<KeyStore> keyStore();

} // namespace sync::core::crypto
