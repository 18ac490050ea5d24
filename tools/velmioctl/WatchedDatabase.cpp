#include "WatchedDatabase.h"

#include "Text.h"

#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QRegularExpression>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;
using sync::interf::IQSqlDatabaseWrapper;
using sync::interf::IQSqlQueryWrapper;

namespace velmioctl {

namespace {

// Primary result codes of SQLite (sqlite.org/rescode.html).
constexpr int SqliteBusy = 5;
constexpr int SqliteLocked = 6;
constexpr int SqliteCorrupt = 11;
constexpr int SqliteNotADatabase = 26;

ExitCode exitCodeOf(DatabaseError::Cause cause)
{
    switch (cause) {
    case DatabaseError::Cause::Busy:
        return ExitCode::Busy;
    case DatabaseError::Cause::Damaged:
    case DatabaseError::Cause::NotADatabase:
        return ExitCode::Damaged;
    case DatabaseError::Cause::TooNew:
        return ExitCode::TooNew;
    default:
        return ExitCode::OtherError;
    }
}

// Changes nothing, but needs all that a change needs: what makes it fail made the change fail.
const QString WriteProbe = u"UPDATE Schedules SET id = id WHERE id < 0"_s;

// Why the last transaction() or commit() failed: the engine tells it in its log alone.
thread_local QString lastEngineWarning;
QtMessageHandler otherMessages = nullptr;

void overhear(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (qstrcmp(context.category, "velmio.database") == 0)
        lastEngineWarning = message;
    else
        otherMessages(type, context, message);
}

void overhearEngineLog()
{
    if (!otherMessages)
        otherMessages = qInstallMessageHandler(overhear);
}

} // namespace

CommandError openingError(const DatabaseError& error)
{
    return {exitCodeOf(error.cause()), error.text()};
}

ExitCode exitCodeOfFailure(const QString& text)
{
    static const QRegularExpression code(u"\\(SQLite error (\\d+)\\)"_s);
    switch (code.match(text).captured(1).toInt() & 0xff) {
    case SqliteBusy:
    case SqliteLocked:
        return ExitCode::Busy;
    case SqliteCorrupt:
    case SqliteNotADatabase:
        return ExitCode::Damaged;
    default:
        return ExitCode::OtherError;
    }
}

struct WatchedDatabase::Failures
{
    void add(const QString& text)
    {
        // The first one is the cause of those that follow.
        if (first.isNull())
            first = text.isEmpty() ? u"unknown error"_s : text;
    }

    QString first;
};

class WatchedDatabase::WatchedQuery : public IQSqlQueryWrapper
{
public:
    WatchedQuery(std::shared_ptr<IQSqlQueryWrapper> query, std::shared_ptr<Failures> failures)
        : query(std::move(query))
        , failures(std::move(failures))
    {
    }

    QString lastError() const override { return query->lastError(); }
    QString lastQuery() const override { return query->lastQuery(); }
    QVariant value(int index) const override { return query->value(index); }
    bool isValid() const override { return query->isValid(); }
    bool prepare(const QString& sql) override { return query->prepare(sql); }
    void setForwardOnly(bool forward) override { query->setForwardOnly(forward); }
    QVariant lastInsertId() const override { return query->lastInsertId(); }
    int numRowsAffected() const override { return query->numRowsAffected(); }

    void bindValue(const QString& placeholder, const QVariant& value) override
    {
        query->bindValue(placeholder, value);
    }
    QVariant boundValue(const QString& placeholder) const override
    {
        return query->boundValue(placeholder);
    }

    bool exec() override
    {
        const bool succeeded = query->exec();
        if (!succeeded)
            failures->add(query->lastError());
        return succeeded;
    }

    bool next() override
    {
        const bool onRow = query->next();
        if (!onRow) {
            const QString error = query->lastError();
            if (!error.isEmpty())
                failures->add(error);
        }
        return onRow;
    }

private:
    const std::shared_ptr<IQSqlQueryWrapper> query;
    const std::shared_ptr<Failures> failures;
};

WatchedDatabase::WatchedDatabase(std::shared_ptr<SqliteDatabaseFactory> openFactory)
    : factory(std::move(openFactory))
    , failures(std::make_shared<Failures>())
{
    overhearEngineLog();
    factory->setCommitFailureHandler(
        [failures = failures](const QString& error) { failures->add(error); });
}

WatchedDatabase::~WatchedDatabase() = default;

std::shared_ptr<IQSqlDatabaseWrapper> WatchedDatabase::GetDatabase()
{
    return factory->GetDatabase();
}

std::shared_ptr<IQSqlQueryWrapper> WatchedDatabase::CreateQuery()
{
    return std::make_shared<WatchedQuery>(factory->CreateQuery(), failures);
}

QString WatchedDatabase::path() const
{
    return factory->path();
}

void WatchedDatabase::check()
{
    const QString error = std::exchange(failures->first, {});
    if (error.isNull())
        return;
    QString text = u"The database %1 failed: %2"_s.arg(quoted(path()), error);
    if (!text.endsWith(u'.'))
        text += u'.';
    if (exitCodeOfFailure(error) == ExitCode::OtherError)
        text += u" See what 'velmioctl stats' says of the database, and try again."_s;
    throw CommandError(exitCodeOfFailure(error), text);
}

void WatchedDatabase::check(bool succeeded, const QString& action)
{
    check();
    if (succeeded)
        return;
    const auto probe = CreateQuery();
    probe->prepare(WriteProbe);
    probe->exec();
    check();
    throw CommandError(
        ExitCode::OtherError, action + u" failed, and the database does not tell why. See what "
                                       u"'velmioctl stats' says of it, and try again."_s);
}

void WatchedDatabase::checkTransaction(bool succeeded)
{
    if (!succeeded)
        failures->add(std::exchange(lastEngineWarning, {}));
    check();
}

std::shared_ptr<IQSqlQueryWrapper> WatchedDatabase::select(
    const QString& sql, std::initializer_list<Binding> bindings)
{
    auto query = CreateQuery();
    query->setForwardOnly(true);
    query->prepare(sql);
    for (const auto& [placeholder, value] : bindings)
        query->bindValue(placeholder, value);
    query->exec();
    check();
    return query;
}

void WatchedDatabase::change(const QString& sql, std::initializer_list<Binding> bindings)
{
    select(sql, bindings);
}

long long WatchedDatabase::number(const QString& sql, std::initializer_list<Binding> bindings)
{
    const auto query = select(sql, bindings);
    const bool hasRow = query->next();
    check();
    return hasRow ? query->value(0).toLongLong() : 0;
}

Transaction::Transaction(WatchedDatabase& database)
    : database(database)
    , connection(database.GetDatabase())
{
    database.checkTransaction(connection->transaction());
    open = true;
}

Transaction::~Transaction()
{
    if (open)
        connection->rollback();
}

void Transaction::commit()
{
    // A failed commit has been rolled back when it returns.
    open = false;
    database.checkTransaction(connection->commit());
}

} // namespace velmioctl
