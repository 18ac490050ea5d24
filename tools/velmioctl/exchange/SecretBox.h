#pragma once

#include <core/SecureBytes.h>

#include <QByteArray>
#include <QString>

#include <optional>

namespace velmioctl::exchange {

/// How the secrets of an export are encrypted. Holds nothing secret itself.
struct SecretParameters
{
    qint64 operations = 0;  ///< Rounds of the derivation of the key.
    qint64 memoryBytes = 0; ///< Memory that the derivation takes.
    QByteArray salt = {};
    QByteArray check = {}; ///< Tells whether a passphrase is the right one.
};

/// Encrypts the secrets of an export under a passphrase: the key by Argon2id, the secrets by
/// XChaCha20-Poly1305.
class SecretBox
{
public:
    /// With a new salt. Takes a moment and 256 MiB, as that is what guessing costs as well.
    static SecretBox make(const QString& passphrase);

    /// Nothing for another passphrase.
    static std::optional<SecretBox> open(
        const SecretParameters& parameters, const QString& passphrase);

    /// Whether a key may be derived so: what a file asks for is not to stop the machine.
    static bool isBearable(const SecretParameters& parameters);

    const SecretParameters& parameters() const { return given; }

    /// Encrypts a secret for one place, such as a column of a row. Hides its length but roughly.
    QByteArray seal(const QByteArray& secret, const QByteArray& place) const;

    /// Nothing when it was not sealed for this place, or has changed since.
    std::optional<QByteArray> unseal(const QByteArray& sealed, const QByteArray& place) const;

private:
    SecretBox(const SecretParameters& parameters, const QString& passphrase);

    SecretParameters given;
    sync::core::crypto::SecureBytes key;
};

} // namespace velmioctl::exchange
