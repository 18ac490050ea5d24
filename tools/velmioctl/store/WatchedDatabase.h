#pragma once

#include <database/DatabaseError.h>
#include <database/ErrorGuard.h>
#include <database/FailureLog.h>
#include <database/HostTransaction.h>
#include <database/IdentitySource.h>
#include <interf/IDatabaseFactory.h>
#include <velmioctl/cli/ExitCode.h>

#include <QString>
#include <QVariant>

#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace sync::database {
class SqliteDatabaseFactory;
} // namespace sync::database

namespace velmioctl {

/// The exit code and text of an error.
CommandError commandError(const sync::database::DatabaseError& error);

/// The same for the database of the session, with the commands that repair a damaged one.
CommandError openingError(const sync::database::DatabaseError& error);

/// A database whose failures end the command.
///
/// The managers report failure by value only, so a failed list looks like an empty one. Here a
/// command asks afterwards whether something failed, and why.
class WatchedDatabase : public sync::interf::factory::IDatabaseFactory,
                        public sync::database::IdentitySource,
                        public sync::database::FailureSource
{
public:
    using Binding = std::pair<QString, QVariant>;

    explicit WatchedDatabase(std::shared_ptr<sync::database::SqliteDatabaseFactory> file);

    /// A store of a fleet, which is only read; `name` is for errors.
    template <class Factory>
    WatchedDatabase(const std::shared_ptr<Factory>& factory, const QString& name)
        : WatchedDatabase(factory, nullptr, *factory, *factory, name)
    {
    }
    ~WatchedDatabase() override;

    std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> GetDatabase() override;
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> CreateQuery() override;

    /// The path of the file, or the name of the store of a fleet.
    QString path() const { return name; }
    QString storeId() const override;

    /// False for a store of a fleet: it has no disk, and an engine of another kind.
    bool isFile() const { return file != nullptr; }

    /// The engine of a file.
    sync::database::SqliteDatabaseFactory& engine() { return *file; }

    int failureCount() const override;
    std::optional<sync::database::Failure> lastFailure() const override;
    [[nodiscard]] sync::database::Listening onFailure(
        std::function<void(const sync::database::Failure& failure)> function) override;

    /// Reports any failure from now on, also one that check() has already thrown.
    sync::database::ErrorGuard guard() const;

    /// Throws CommandError when a statement or a commit failed since this was asked last.
    void check();

    /// Throws CommandError unless `succeeded`, with the cause where it is known.
    void check(bool succeeded, const QString& action);

    /// Throws CommandError for an error of the library: with what check() knows about it.
    [[noreturn]] void fail(const sync::database::DatabaseError& error);

    /// Runs a SELECT of the tool; throws CommandError when that fails. Call check() after its last
    /// row.
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> select(
        const QString& sql, const std::vector<Binding>& bindings = {});

    /// Runs a statement of the tool that changes rows; throws CommandError when that fails.
    void change(const QString& sql, const std::vector<Binding>& bindings);

    /// Column 0 of the first row, 0 without a row.
    long long number(const QString& sql, const std::vector<Binding>& bindings = {});

private:
    WatchedDatabase(
        std::shared_ptr<sync::interf::factory::IDatabaseFactory> factory,
        std::shared_ptr<sync::database::SqliteDatabaseFactory> file,
        sync::database::FailureSource& failures, const sync::database::IdentitySource& identity,
        const QString& name);

    const std::shared_ptr<sync::interf::factory::IDatabaseFactory> factory;
    const std::shared_ptr<sync::database::SqliteDatabaseFactory> file;
    sync::database::FailureSource& failures;
    const sync::database::IdentitySource& identity;
    const QString name;
    // Guards the failure: a scan also writes on another thread.
    std::mutex mutex;
    std::optional<sync::database::Failure> firstFailure; // since check()
    const sync::database::Listening listening;
};

/// A transaction of a command, rolled back unless commit() succeeds.
class Transaction
{
public:
    /// Throws CommandError when it cannot begin.
    explicit Transaction(WatchedDatabase& database);

    /// Throws CommandError if that fails, or if anything has failed since the transaction began;
    /// then nothing is changed.
    void commit();

private:
    WatchedDatabase& database;
    const sync::database::ErrorGuard guard;
    sync::database::HostTransaction transaction;
};

} // namespace velmioctl
