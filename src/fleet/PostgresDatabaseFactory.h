#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <database/ChangeSource.h>
#include <database/FailureLog.h>
#include <database/IdentitySource.h>
#include <interf/IDatabaseFactory.h>

#include <QString>

#include <functional>
#include <memory>
#include <optional>

/// Stores in PostgreSQL: one database holds the stores of many clients.
namespace sync::fleet {

class ConnectionPool;

/// A store in a PostgreSQL database, which it shares with the other stores of the fleet.
///
/// Any thread may use the factory; a query belongs to the thread that made it. A connection is lent
/// to a thread while it has a query or a transaction, and then returns to a pool. Writers of one
/// store wait for each other, up to 5 s; readers wait for nobody. A statement that fails inside a
/// transaction undoes nothing before it. The engine supports TransactionalScope.
///
/// When a connection breaks, a read is repeated once on a new one. A write outside a transaction
/// fails, and its error says that it is not known whether it was stored. A transaction is lost:
/// what follows in it fails, and its commit() too.
///
/// Through PgBouncer in its transaction mode the same holds: the engine notices it, keeps no
/// statement prepared, and gives each transaction its settings. Make the tables of the fleet over a
/// direct connection first.
///
/// A statement names the tables as with the embedded engine, and sees the rows of the store. What
/// it does not understand: several rows in one INSERT, texts with a NUL character, and SQL that
/// only SQLite has, except NOT IN (). Rows come in the order of their ids unless the statement
/// orders them, has DISTINCT, or computes a value of several rows. After a fork, open a new factory
/// in the child.
class VELMIO_FLEET_EXPORT PostgresDatabaseFactory : public interf::factory::IDatabaseFactory,
                                                    public database::FailureSource,
                                                    public database::ChangeSource,
                                                    public database::IdentitySource
{
public:
    /// Opens the store with this id, and makes the tables of the fleet and the store if they are
    /// missing. The first opening needs a login that may create roles; later ones need the role
    /// velmio_client, velmio_service or velmio_report.
    ///
    /// `connection` is what libpq takes: a URI or keywords, with one or several hosts
    /// (https://www.postgresql.org/docs/current/libpq-connect.html). Unless it says otherwise, a
    /// connection over TCP must be encrypted and the server's certificate must be valid
    /// (sslmode=verify-full), a statement may take 60 s (statement_timeout) and wait 5 s for
    /// another writer of the store (lock_timeout).
    ///
    /// Throws DatabaseError, whose text contains no password.
    static std::shared_ptr<PostgresDatabaseFactory> open(
        const QString& connection, const QString& storeId);

    /// Makes the tables of the fleet, or brings them up to date, and no store. Needs a login that
    /// may create roles; throws DatabaseError.
    static void makeFleet(const QString& connection);

    /// Closes the connections. Queries that still exist keep theirs.
    ~PostgresDatabaseFactory() override;

    std::shared_ptr<interf::IQSqlDatabaseWrapper> GetDatabase() override;
    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override;

    /// The id that the store was opened with.
    QString storeId() const override;

    /// How many calls have failed, on all threads: exec() of a query, transaction(), commit() and
    /// rollback(), and a commit at the end of a scope. rollback() after a commit() that failed does
    /// not count.
    int failureCount() const override;

    std::optional<database::Failure> lastFailure() const override;
    /// As FailureSource::onFailure().
    [[nodiscard]] database::Listening onFailure(
        std::function<void(const database::Failure& failure)> function) override;

    /// As ChangeSource::onChange().
    [[nodiscard]] database::Listening onChange(
        std::function<void(database::RecordKinds kinds)> function) override;

    /// Takes a round trip to the server. After a commit by others every kind is reported.
    void poll() override;

private:
    explicit PostgresDatabaseFactory(std::shared_ptr<ConnectionPool> pool);

    const std::shared_ptr<ConnectionPool> pool;
};

} // namespace sync::fleet
