#pragma once

#include <base/ThreadLoans.h>
#include <database/FailureLog.h>
#include <fleet/changes/FleetChanges.h>
#include <fleet/connection/ConnectionOptions.h>
#include <fleet/connection/PostgresConnection.h>
#include <fleet/statement/TranslationCache.h>

#include <QByteArray>
#include <QLoggingCategory>

#include <memory>

Q_DECLARE_LOGGING_CATEGORY(velmioFleet)

namespace sync::fleet {

/// The connections of one store, each lent to one thread at a time, and what they share. Any thread
/// may call.
///
/// Writers wait for each other at the server, which lets them in one after the other.
class ConnectionPool : public std::enable_shared_from_this<ConnectionPool>,
                       public base::ThreadEndWatcher
{
public:
    /// Takes the session with which the store was opened.
    ConnectionPool(
        const ConnectionOptions& options, const QString& storeId, std::unique_ptr<Session> first);
    ~ConnectionPool() override;

    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    /// The store's id in UTF-8.
    const QByteArray& store() const { return storeId; }

    database::FailureLog& failures() { return failureLog; }
    FleetChanges& changes() { return feed; }
    TranslationCache& translations() { return translationCache; }

    /// Throws DatabaseError.
    std::unique_ptr<Session> openSession() const { return Session::open(options); }

    /// The connection of the calling thread, the same one for as long as it has a query or a
    /// transaction. Give it back as often as it was borrowed.
    PostgresConnection* borrow();
    void giveBack(PostgresConnection* connection) noexcept;

    /// Rolls back the transaction() that the calling thread has begun if the thread ends.
    void watchHostTransaction();

    /// Makes the next write of the calling thread report that its transaction() was left by an
    /// exception, unless that has ended by then.
    void noteAbandonedTransaction() noexcept;

    /// Rolls back the transaction() of the calling thread, which ends.
    void threadEnds() noexcept override;

private:
    const ConnectionOptions options;
    const QByteArray storeId;
    database::FailureLog failureLog;
    FleetChanges feed;
    TranslationCache translationCache;

    base::ThreadLoans<PostgresConnection> connections;
};

using ConnectionLease = base::Lease<ConnectionPool>;

} // namespace sync::fleet
