#pragma once

#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <velmioctl/doctor/CheckQuery.h>
#include <velmioctl/store/Columns.h>

#include <QString>

namespace velmioctl::exchange {

/// One moment of a database file that is ours, read while others write and without writing to it.
class StoreSnapshot
{
public:
    /// Throws CommandError, also for a file whose tables are not those that are known here.
    explicit StoreSnapshot(const QString& path);

    qint64 schemaVersion() const { return version; }

    /// Calls `work` with the database; throws CommandError where that cannot read.
    template <typename Work>
    void read(Work work)
    {
        try {
            work(*database);
        } catch (const doctor::ReadFailure& failure) {
            check(failure);
            throw;
        }
    }

    /// For the caller's own work after a failed read: throws CommandError if this database failed.
    void check(const doctor::ReadFailure& failure) const;

    sync::database::SqliteDatabaseFactory& openDatabase() { return *database; }

private:
    [[noreturn]] void failAsTooNew() const;
    void requireColumns(const TableShape& table);

    const QString path;
    const std::shared_ptr<sync::database::SqliteDatabaseFactory> database;
    const std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> moment;
    qint64 version = 0;
};

} // namespace velmioctl::exchange
