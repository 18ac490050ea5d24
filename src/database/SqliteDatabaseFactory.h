#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <database/ChangeSource.h>
#include <database/DatabaseError.h>
#include <database/FailureLog.h>
#include <database/IdentitySource.h>
#include <database/OpenOptions.h>
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
/// Any thread may use the factory; a query belongs to the thread that made it. A connection is lent
/// to a thread while it has a query or a transaction, and then returns to a pool. Writers of one
/// process queue in order of arrival; a writer waits up to 5 s for another process. Readers wait
/// for nobody as long as the store has a WAL. The engine supports TransactionalScope.
///
/// A thread that holds a SELECT with rows left cannot write after another thread or process has
/// written; release or finish the SELECT first. After a fork, open a new factory in the child.
class VELMIO_DATABASE_EXPORT SqliteDatabaseFactory : public interf::factory::IDatabaseFactory,
                                                     public FailureSource,
                                                     public ChangeSource,
                                                     public IdentitySource
{
public:
    /// Opens the database file. A missing file is created, with its folders and tables.
    ///
    /// Throws DatabaseError, and does not change the file, if it is a directory, may not be read
    /// and written, is empty or not a database, belongs to another program, is damaged, or has a
    /// newer version that does not allow this one to use it; also if the file is missing and its
    /// WAL or journal is not.
    ///
    /// A store that other users could have changed is refused with Cause::Untrusted: its file, its
    /// companions and its folder belong to this user or to root, and nobody else may write to them.
    /// A group counts as others unless it is the user's own. For root, the owner of the store
    /// counts as the user. The options may allow it.
    ///
    /// So is, with Cause::AlteredSchema and before anything is migrated, a store whose schema has
    /// something that no new store of its version has and that could act: a trigger or an index on
    /// its tables, a view in the place of one, a table with an expression, a constraint or a
    /// default of its own, a column, trigger or view of ours with another definition. Other tables
    /// and views are left alone. @{
    static std::shared_ptr<SqliteDatabaseFactory> open(const QString& path);
    static std::shared_ptr<SqliteDatabaseFactory> openWith(
        const OpenOptions& options, const QString& path);
    ///@}

    /// Opens a store only for reading and leaves no trace: no byte of its files changes, and no
    /// file is created. The WAL of a store in use is read as well.
    ///
    /// Reads under GetDatabase()->transaction() see one moment of the store, and no writer waits
    /// for that transaction to end. A store that nobody has open is read without locks: if a
    /// program writes to it meanwhile, exec() or next() fails with Cause::Busy, and likewise when a
    /// program switches a store with a journal to a WAL. After the thread's queries and its
    /// transaction have ended, a new query reads it again. Statements that write
    /// fail. The schema is that of the file, which may have an earlier version. The factory
    /// announces no changes. Throws DatabaseError like open(), and also if the file is missing or
    /// its WAL cannot be read; a store of another user may be read. Damage is found only when the
    /// damaged part is read.
    /// @{
    static std::shared_ptr<SqliteDatabaseFactory> openReadOnly(const QString& path);
    static std::shared_ptr<SqliteDatabaseFactory> openReadOnlyWith(
        const OpenOptions& options, const QString& path);
    ///@}

    /// The default place of the database: "configuration.db" in the user's application data.
    static QString defaultPath();

    /// The schema version that this library uses, and to which it migrates databases.
    static int schemaVersion();

    /// Stops SQLite from counting the memory of this process, which it does under one lock for all
    /// threads: reading threads then hinder each other less (docs/performance.md has figures).
    ///
    /// Call it at the start of main(): no other thread may run, because sqlite3_config() is not
    /// thread-safe, and every other user of SQLite in the process is affected. Afterwards
    /// sqlite3_memory_used() returns 0, and a soft heap limit has no effect
    /// (https://sqlite.org/malloc.html). False, without a change, if SQLite is already in use.
    static bool disableMemoryStatistics();

    /// Copies the WAL into the file and removes it when nobody else has the file open. Queries that
    /// still exist keep what they need of the store alive.
    ~SqliteDatabaseFactory() override;

    std::shared_ptr<interf::IQSqlDatabaseWrapper> GetDatabase() override;
    std::shared_ptr<interf::IQSqlQueryWrapper> CreateQuery() override;

    /// The absolute path of the database file.
    QString path() const;

    /// Texts for a person about a database that could be opened: it comes from another machine, has
    /// a newer version, or is used without a WAL. They were also logged in the category
    /// "velmio.database" when it was opened.
    QStringList warnings() const;

    /// The random id that the store was created with. Copies of the file have the same id.
    QString storeId() const override;

    /// False if it was opened with a rollback journal, because its file system does not support a
    /// WAL or another program kept it locked. Writing is then slower and waits for readers, for up
    /// to 5 s; nothing else differs.
    bool hasWriteAheadLog() const;

    /// True if the file was last used on another machine or by another account, for instance
    /// because it was copied, moved or restored. It works like any other store; but a host should
    /// ask its user before it synchronises anything from it. Any thread may ask.
    bool isMoved() const;

    /// True if another program had the store open, or may have had, when it was opened read-only:
    /// what that program has not stored yet is not seen. Any thread may ask.
    bool mayBeInUse() const;

    /// Makes the store belong to this machine and account, after the user has agreed. Under
    /// transaction() this becomes durable with the commit(). Throws DatabaseError if it cannot be
    /// written.
    void adopt();

    /// How many calls have failed since the database was opened, on all threads: exec() and next()
    /// of a query, transaction(), commit() and rollback(), a commit at the end of a scope, and
    /// CreateQuery() when no connection can be opened. A text that does not prepare counts when
    /// exec() tries it, and rollback() after a commit() that failed does not count.
    ///
    /// The managers return the same for a failed read as for an empty result; ErrorGuard shows the
    /// difference.
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
    const bool shared;
};

} // namespace sync::database
