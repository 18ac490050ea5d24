#pragma once

#include <velmioctl/records/FieldOptions.h>
#include <velmioctl/store/Records.h>

#include <vector>

namespace sync::config {
class DatabaseConfigurationManager;
} // namespace sync::config

namespace velmioctl {

class Session;

/// The records of a table with a secret, read and changed column by column.
///
/// Not by their managers: the one of sign-ins decrypts every password that it reads, and its Update
/// stores null for one that cannot be decrypted; the one of products reads no properties, and its
/// Update clears the secret and the properties. All throw CommandError when the database fails.
class SecretRecords
{
public:
    SecretRecords(
        Session& session, const QByteArray& table,
        sync::config::DatabaseConfigurationManager& manager);

    /// The record with an id, which must exist.
    ColumnValues byId(int id);

    /// Prints the records of all servers or of one, in the columns `shown`, or a note without any.
    void list(
        std::optional<int> server, const QStringList& headings,
        const std::vector<const char*>& shown, const QString& note);

    /// Stores the given fields of a record. Call it in a transaction.
    void change(const ColumnValues& before, const FieldOptions& fields);
    void changeColumn(int id, const Column& column, const QVariant& value);

    /// Prints a record with its secret in clear, as the member `key` in JSON; null for no secret.
    void printRevealed(const ColumnValues& record, const QString& key, const QString& secret);
    /// Prints a record without its secret, with no field cut off.
    void print(const ColumnValues& record);

private:
    std::vector<ColumnValues> read(const QString& condition, int value);

    Session& session;
    const TableShape& table;
    sync::config::DatabaseConfigurationManager& manager;
};

} // namespace velmioctl
