#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <core/KeyStore.h>
#include <core/SecretContext.h>

#include <QString>
#include <QVariant>

#include <memory>

/// Encryption of stored passwords, and the stores of its keys.
namespace sync::core::crypto {

/// What Encrypt() does after Decrypt() found a password with a key of another kind of store.
enum class OtherBackend {
    Refuse, ///< It throws, so that passwords do not use two kinds of store unnoticed.
    Accept, ///< It encrypts with the current store.
};

/// Encrypts a secret with the current key of the key store; the result is a column's value.
///
/// Uses XChaCha20-Poly1305 with a new nonce, so each call returns a different value. Decrypt()
/// returns every string unchanged, and a null string as null. The first use creates the key. Throws
/// KeyError if no key is available, and never returns a secret in clear. Any thread may call it.
///
/// With a context whose store is known, the secret is bound to it. @{
VELMIO_CORE_EXPORT QVariant Encrypt(QString secret);
VELMIO_CORE_EXPORT QVariant Encrypt(QString secret, const SecretContext& context);
///@}

/// Decrypts a column's value from Encrypt(). Any thread may call it.
///
/// Returns a null string for NULL, and for a value that cannot be decrypted. In that case it logs
/// one warning in the category "velmio.crypto" with the reason: no key, another key, damage, an
/// unknown version, or that the value does not belong to the context. Without a context it cannot
/// notice that a value was moved. @{
VELMIO_CORE_EXPORT QString Decrypt(QVariant stored);
VELMIO_CORE_EXPORT QString Decrypt(QVariant stored, const SecretContext& context);
///@}

/// Chooses the key store of the whole process. Hosts call it before the first use.
///
/// The default, also for a null `store`, is a FileKeyStore at its default path. On macOS and
/// Windows, a build with VELMIO_WITH_KEYCHAIN uses a KeychainKeyStore instead, unless that key file
/// exists.
VELMIO_CORE_EXPORT void setKeyStore(
    std::shared_ptr<KeyStore> store, OtherBackend otherBackend = OtherBackend::Refuse);

/// The key store of the process; never null.
VELMIO_CORE_EXPORT std::shared_ptr<KeyStore> keyStore();

} // namespace sync::core::crypto
