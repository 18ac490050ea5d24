#pragma once

#include <velmioctl/exchange/SecretBox.h>
#include <velmioctl/exchange/Value.h>
#include <velmioctl/store/Columns.h>
#include <velmioctl/store/StoredPassword.h>

namespace velmioctl::exchange {

/// Takes the secrets of rows from the keys of a database to the passphrase of an export, and back.
///
/// A password goes in clear under the passphrase, so that another machine can read it. One that
/// cannot be read here goes as the bytes that are stored.
class RowSecrets
{
public:
    enum class Purpose {
        Compare, ///< A secret that is not the stored one stays sealed.
        Store,   ///< It becomes what is to be stored; may make a key.
    };

    explicit RowSecrets(SecretBox box);

    const SecretParameters& parameters() const { return box.parameters(); }

    /// Encrypts the secrets of a row under the passphrase.
    void seal(const TableShape& table, Row& row);

    /// Replaces the sealed secrets of a row. One that `stored`, which may be null, has as well
    /// becomes what is stored there. False when one does not read. Throws KeyError.
    bool unseal(const TableShape& table, Row& row, const Row* stored, Purpose purpose);

    /// How many passwords seal() could not read with the keys of this database.
    int unreadable() const { return unreadablePasswords; }

private:
    QByteArray toBytes(const Value& stored);
    Value fromBytes(const QByteArray& bytes, const Value& sealed, const Value& stored, Purpose);

    SecretBox box;
    PasswordReader reader;
    int unreadablePasswords = 0;
};

/// True when two stored values hold the same password, whatever their bytes are.
bool isSamePassword(PasswordReader& reader, const Value& left, const Value& right);

} // namespace velmioctl::exchange
