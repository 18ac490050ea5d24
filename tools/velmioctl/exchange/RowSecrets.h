#pragma once

#include <config/PasswordContexts.h>
#include <velmioctl/exchange/SecretBox.h>
#include <velmioctl/exchange/Value.h>
#include <velmioctl/store/Columns.h>
#include <velmioctl/store/StoredPassword.h>

#include <vector>

namespace velmioctl {
class WatchedDatabase;
}

namespace velmioctl::exchange {

/// Encrypts the secrets of rows with the passphrase of an export instead of the keys of a database,
/// and back.
///
/// An export holds the password itself, so that another machine can read it, or its stored bytes if
/// it cannot be read here.
class RowSecrets
{
public:
    enum class Purpose {
        Compare, ///< A secret that is not the stored one stays sealed.
        Store,   ///< It becomes the value to store; may create a key.
    };

    explicit RowSecrets(SecretBox box);

    const SecretBox& secretBox() const { return box; }

    /// Encrypts the secrets of a row with the passphrase, and the values that are masked.
    void seal(const TableShape& table, Row& row, const sync::config::PasswordContexts& contexts);

    /// Decrypts the sealed secrets and masked values of a row. A secret that equals the one in
    /// `stored`, which may be null, becomes the value stored there. False if one cannot be
    /// decrypted. Throws KeyError.
    bool unseal(
        const TableShape& table, Row& row, const Row* stored, Purpose purpose,
        const sync::config::PasswordContexts& contexts);

    /// Binds the passwords that unseal() has returned to store to where they are now, when all rows
    /// are written. Throws CommandError and KeyError.
    void bindStored(WatchedDatabase& database);

    /// How many passwords seal() could not read with the keys of this database.
    int unreadable() const { return unreadablePasswords; }

private:
    QByteArray sealed(const sync::core::crypto::SecureBytes& bytes, const QByteArray& place) const;
    sync::core::crypto::SecureBytes toBytes(
        const Value& stored, const sync::core::crypto::SecretContext& context);
    Value fromBytes(
        const sync::core::crypto::SecureBytes& bytes, const Value& sealed, const Value& stored,
        Purpose purpose, const sync::core::crypto::SecretContext& context);

    SecretBox box;
    PasswordReader reader;
    int unreadablePasswords = 0;
    std::vector<qint64> storedIds; // of sign-ins
};

/// True if two stored values hold the same password, even if their bytes differ.
bool isSamePassword(PasswordReader& reader, const Value& left, const Value& right);

} // namespace velmioctl::exchange
