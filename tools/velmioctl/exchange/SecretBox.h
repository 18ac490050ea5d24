#pragma once

#include <core/SecretText.h>
#include <velmioctl/exchange/ExportSeal.h>

#include <QByteArray>

#include <optional>
#include <span>

namespace velmioctl::exchange {

/// How the secrets of an export are encrypted. Holds nothing secret itself.
struct SecretParameters
{
    qint64 operations = 0;  ///< Rounds of the derivation of the key.
    qint64 memoryBytes = 0; ///< Memory that the derivation takes.
    QByteArray salt = {};
    QByteArray check = {}; ///< Shows whether a passphrase is the right one.
    /// False for version 1 of the format, whose secrets have the derived key itself.
    bool sealsExport = true;
};

/// Encrypts the secrets of an export with a passphrase: Argon2id derives the key,
/// XChaCha20-Poly1305 encrypts.
class SecretBox
{
public:
    /// With a new salt. Takes a moment and 256 MiB, which each guess of the passphrase costs too.
    static SecretBox make(const sync::core::crypto::SecretText& passphrase);

    /// No value for another passphrase.
    static std::optional<SecretBox> open(
        const SecretParameters& parameters, const sync::core::crypto::SecretText& passphrase);

    /// True if deriving a key this way does not exhaust the machine: a file may ask for anything.
    static bool isInRange(const SecretParameters& parameters);

    const SecretParameters& parameters() const { return given; }

    /// Encrypts a secret for one place, such as a column of a row. Its length shows only roughly.
    QByteArray seal(std::span<const unsigned char> secret, const QByteArray& place) const;

    /// No value if it was sealed for another place, or was changed.
    std::optional<sync::core::crypto::SecureBytes> unseal(
        const QByteArray& sealed, const QByteArray& place) const;

    /// For the whole export, with a key of its own.
    ExportSeal makeExportSeal() const { return ExportSeal(exportKey.data()); }

private:
    using SecureBytes = sync::core::crypto::SecureBytes;

    SecretBox(const SecretParameters& parameters, SecureBytes derived);

    SecretParameters given;
    SecureBytes exportKey;
    SecureBytes secretKey;
};

} // namespace velmioctl::exchange
