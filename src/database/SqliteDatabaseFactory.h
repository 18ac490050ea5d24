#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <database/ChangeSource.h>
#include <database/DatabaseError.h>
#include <database/FailureLog.h>
#include <interf/IDatabaseFactory.h>

#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

/// The embedded engine, and the scope that groups writes into transactions.
namespace sync::database {

class ConnectionPool;
struct OpenedStore;

/// The embedded SQLite engine: a database file with its schema, and a connection for each thread.
///
/// Any thread may use the factory; a query belongs to the thread that made it. Connections are
/// lent to a thread while it has a query or a transaction and go back to a pool then. Writers
/// of one process queue in order of arrival; a writer waits for another process for up to 5 s.
/// Readers wait for nobody, but where there is no write-ahead log. What TransactionalScope
/// promises, this engine keeps.
///
/// A thread that holds a SELECT with rows left cannot write once somebody else has written; release
/// or finish the SELECT first. A process that forks opens a factory of its own in the child.
class VELMIO_DATABASE_EXPORT SqliteDatabaseFactory : public interf::factory::IDatabaseFactory,
                                                     public FailureSource,
                                                     public ChangeSource
{
public:
    /// Opens the database file, creating it, its directories and its tables when there is none.
    ///
    /// Throws DatabaseError and leaves the file as it is when it is a directory, may not be read
    /// and written, is no database, belongs to another program, is damaged, or is of a newer
    /// version that does not let this one use it.
    static std::shared_ptr<SqliteDatabaseFactory> open(const QString& path);

    /// Opens a store for reading alone, and leaves no trace: not a byte of the file or of what lies
    /// beside it changes, and no file is created. The WAL of a store in use is read along.
    ///
    /// What is read under GetDatabase()->transaction() is one moment of the store, and no writer
    /// waits for its end. Statements that write fail. The schema is that of the file, which may be
    /// of an earlier version. It announces no changes. Throws DatabaseError as open() does, and
    /// also if there is no file or its WAL cannot be read; damage is found when it is read.
    static std::shared_ptr<SqliteDatabaseFactory> openReadOnly(const QString& path);

    /// The default place of the database: "configuration.db" in the user's application data.
    static QString defaultPath();

    /// The version of the schema that this library works with, and brings databases to.
    static int schemaVersion();

    /// Has SQLite no longer count the memory of this process, which it does under one lock for all
    /// threads: reading threads then hinder each other less (docs/performance.md says how much).
    ///
    /// For the start of main(): no other thread may run, as sqlite3_config() is not thread-safe,
    /// and whatever else uses SQLite in the process is concerned as well. sqlite3_memory_used()
    /// gives 0 afterwards, and a soft heap limit does nothing (https://sqlite.org/malloc.html).
    /// False, and nothing has changed, when SQLite is in use already.
    static bool disableMemoryStatistics();

    /// Copies the WAL into the file and removes it when nobody else has the file open. Queries that
    /// still exist keep what they need of the store alive.
    ~SqliteDatabaseFactory() override;

    std::shared_ptr<interf::IQSqlDatabaseWrapper> GetDatabase() override;
    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override;

    /// The absolute path of the database file.
    QString path() const;

    /// What a person should know of the database although it could be opened: that it comes from
    /// elsewhere, is of a newer version, or is used without a write-ahead log. One text each, also
    /// logged in the category "velmio.database" when it was opened.
    QStringList warnings() const;

    /// The random id that the store got when it was made. Copies of the file have the same.
    QString storeId() const;

    /// False when it was opened with a journal, because its place does not do for a write-ahead log
    /// or another program kept it locked. Writing is slower then, and waits for those who read for
    /// up to 5 s; nothing else differs.
    bool hasWriteAheadLog() const;

    /// True when the file was last used on another machine or by another account, as when it was
    /// copied, moved or restored. It works like any other; but a host asks its user before it
    /// synchronises anything from it. Any thread may ask.
    bool isMoved() const;

    /// Makes the store belong to this machine and account, when the user has agreed. Under
    /// transaction() it becomes durable with the commit(). Throws DatabaseError when that cannot be
    /// written.
    void adopt();

    /// How many calls have failed since the database was opened, on all threads: exec() and next()
    /// of a query, transaction(), commit() and rollback(), a commit at the end of a scope, and
    /// CreateQuery() when no connection can be opened. A text that does not prepare counts when
    /// exec() tries it, and rollback() after a commit() that failed does not count.
    ///
    /// The managers answer what has failed like what is empty; ErrorGuard shows the difference.
    int failureCount() const override;

    std::optional<Failure> lastFailure() const override;
    [[nodiscard]] Listening onFailure(
        std::function<void(const Failure& failure)> function) override;

    [[nodiscard]] Listening onChange(std::function<void(RecordKinds kinds)> function) override;
    void poll() override;

private:
    SqliteDatabaseFactory(const QString& path, OpenedStore& opened);

    const std::shared_ptr<ConnectionPool> pool;
    const QStringList openingWarnings;
    const QString ownStoreId;
    std::atomic<bool> moved;
};

} // namespace sync::database
