#include "HostDatabaseFactory.h"

#include <database/ScopeParticipant.h>
#include <database/TransactionalScope.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QRegularExpression>
#include <QSqlError>
#include <QSqlQuery>
#include <QTextStream>

#include <utility>

using namespace Qt::StringLiterals;
using sync::database::Failure;
using sync::database::RecordKinds;

/// What the queries and transactions of one connection share.
struct HostConnection
{
    explicit HostConnection(const QSqlDatabase& database)
        : database(database)
        , versionBefore(dataVersion())
    {
    }

    bool begin()
    {
        const bool begun = !inTransaction && database.transaction();
        inTransaction = inTransaction || begun;
        return report(begun, Failure::Kind::Statement, database.lastError());
    }

    bool end(bool commit)
    {
        const bool done = commit ? database.commit() : database.rollback();
        const QSqlError error = database.lastError();
        if (commit && !done)
            database.rollback();
        inTransaction = false;
        const RecordKinds kinds = std::exchange(changed, {});
        if (done && commit && kinds)
            changes.notify(kinds);
        return report(done, Failure::Kind::Commit, error);
    }

    // The managers return the same for a failed read as for an empty one, so a host learns of the
    // failure here. Bound values are not logged, because they may be secrets.
    bool report(bool done, Failure::Kind kind, const QSqlError& error)
    {
        if (done)
            return true;
        QTextStream(stderr) << error.text() << '\n';
        failures.report({.kind = kind, .text = error.text()});
        return false;
    }

    // SQLite changes this number when another connection has committed.
    int dataVersion() const
    {
        QSqlQuery query(u"PRAGMA data_version"_s, database);
        return query.next() ? query.value(0).toInt() : 0;
    }

    QSqlDatabase database;
    bool inTransaction = false;
    RecordKinds changed; // since the last commit
    int versionBefore;
    sync::database::FailureLog failures;
    sync::database::Listeners<RecordKinds> changes;
};

namespace {

/// Has the outermost scope end the transaction that a nested one has begun.
class HostScope : public sync::database::ScopeParticipant
{
public:
    explicit HostScope(std::shared_ptr<HostConnection> connection)
        : connection(std::move(connection))
    {
    }

    bool endScopeTransaction(bool commit) noexcept override { return connection->end(commit); }

private:
    const std::shared_ptr<HostConnection> connection;
};

class HostQuery : public sync::interf::IQSqlQueryWrapper
{
public:
    explicit HostQuery(std::shared_ptr<HostConnection> host)
        : connection(std::move(host))
        , query(connection->database)
    {
        query.setForwardOnly(true);
    }

    bool prepare(const QString& sql) override
    {
        static const QRegularExpression write(
            u"^\\s*(?:INSERT INTO|UPDATE|DELETE FROM)\\s+(\\w+)"_s,
            QRegularExpression::CaseInsensitiveOption);
        table = write.match(sql).captured(1);
        return prepared = reported(query.prepare(sql));
    }

    // A text that did not prepare is not tried, because that would hide why it did not.
    bool exec() override
    {
        if (!prepared)
            return false;
        const bool writes = !table.isEmpty();
        if (writes && sync::database::TransactionalScope::depth() >= 2 &&
            !connection->inTransaction) {
            if (!connection->begin())
                return false;
            sync::database::joinOutermostScope(std::make_shared<HostScope>(connection));
        }
        if (!reported(query.exec()))
            return false;
        if (!writes || query.numRowsAffected() <= 0)
            return true;
        const RecordKinds kinds = sync::database::recordKindOf(table);
        if (connection->inTransaction)
            connection->changed |= kinds;
        else
            connection->changes.notify(kinds);
        return true;
    }

    // Placeholders come with their colon, which is how QSqlQuery names them.
    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        query.bindValue(placeholder, value);
    }
    QVariant boundValue(const QString& placeholder) const override
    {
        return query.boundValue(placeholder);
    }

    bool next() override { return query.next(); }
    bool isValid() const override { return query.isValid(); }
    QVariant value(int index) const override { return query.value(index); }
    void setForwardOnly(bool forward) override { query.setForwardOnly(forward); }
    QString lastError() const override { return query.lastError().text(); }
    QString lastQuery() const override { return query.lastQuery(); }
    QVariant lastInsertId() const override { return query.lastInsertId(); }
    int numRowsAffected() const override { return query.numRowsAffected(); }

private:
    bool reported(bool done) const
    {
        return connection->report(done, Failure::Kind::Statement, query.lastError());
    }

    const std::shared_ptr<HostConnection> connection;
    QSqlQuery query;
    QString table; // that the statement writes to
    bool prepared = false;
};

class HostDatabase : public sync::interf::IQSqlDatabaseWrapper
{
public:
    explicit HostDatabase(std::shared_ptr<HostConnection> connection)
        : connection(std::move(connection))
    {
    }

    bool transaction() override { return connection->begin(); }
    bool commit() override { return connection->inTransaction && connection->end(true); }
    bool rollback() override { return connection->inTransaction && connection->end(false); }

private:
    const std::shared_ptr<HostConnection> connection;
};

} // namespace

HostDatabaseFactory::HostDatabaseFactory(const QSqlDatabase& database)
    : connection(std::make_shared<HostConnection>(database))
{
}

std::shared_ptr<sync::interf::IQSqlDatabaseWrapper> HostDatabaseFactory::GetDatabase()
{
    return std::make_shared<HostDatabase>(connection);
}

std::shared_ptr<sync::interf::IQSqlQueryWrapper> HostDatabaseFactory::CreateQuery()
{
    return std::make_shared<HostQuery>(connection);
}

int HostDatabaseFactory::failureCount() const
{
    return connection->failures.failureCount();
}

std::optional<Failure> HostDatabaseFactory::lastFailure() const
{
    return connection->failures.lastFailure();
}

sync::database::Listening HostDatabaseFactory::onFailure(
    std::function<void(const Failure& failure)> function)
{
    return connection->failures.onFailure(std::move(function));
}

sync::database::Listening HostDatabaseFactory::onChange(
    std::function<void(RecordKinds kinds)> function)
{
    return connection->changes.add(std::move(function));
}

void HostDatabaseFactory::poll()
{
    const int version = connection->dataVersion();
    if (std::exchange(connection->versionBefore, version) != version)
        connection->changes.notify(sync::database::AllRecordKinds);
}
