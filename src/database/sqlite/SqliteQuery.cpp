#include <database/sqlite/SqliteQuery.h>

#include <database/sqlite/SqliteStore.h>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

Failure otherThread()
{
    return {.text = u"a query belongs to the thread that made it"_s};
}

} // namespace

SqliteQuery::SqliteQuery(std::shared_ptr<SqliteStore> store)
    : session(std::move(store))
{
}

SqliteQuery::~SqliteQuery()
{
    dropStatement();
}

// NULL without a row, and where there is no such column, which SQLite looks after.
ColumnValue SqliteQuery::column(int index) const
{
    if (position != Position::OnRow)
        return ColumnValue(nullptr);
    return ColumnValue(sqlite3_column_value(statement->handle.get(), index));
}

QVariant SqliteQuery::value(int index) const
{
    return column(index).toVariant();
}

int SqliteQuery::intValue(int index) const
{
    return column(index).toInt();
}

qlonglong SqliteQuery::longLongValue(int index) const
{
    return column(index).toLongLong();
}

QString SqliteQuery::textValue(int index) const
{
    return column(index).toText();
}

bool SqliteQuery::holdsText(int index, QStringView text) const
{
    return column(index).holds(text);
}

QDateTime SqliteQuery::utcTimeValue(int index) const
{
    return column(index).toUtcTime();
}

bool SqliteQuery::next()
{
    if (position == Position::NoRow)
        return false;
    if (position == Position::BeforeFirstRow) {
        position = Position::OnRow;
        return true;
    }
    const int result = sqlite3_step(statement->handle.get());
    if (result == SQLITE_ROW)
        return true;
    if (result != SQLITE_DONE)
        failWithSqliteError();
    position = Position::NoRow;
    // Ends the read: a statement left open would keep the log from being begun anew.
    sqlite3_reset(statement->handle.get());
    return false;
}

bool SqliteQuery::prepare(const QString& sql)
{
    dropStatement();
    text = sql;
    values.clear();
    prepareError = {};
    if (std::this_thread::get_id() == thread)
        statement = session->acquire(sql, prepareError);
    else
        prepareError = otherThread();
    if (!statement) {
        // It counts as a failure when it is tried.
        error = prepareError;
        return false;
    }
    values.resize(statement->placeholders.size());
    columns = sqlite3_column_count(statement->handle.get());
    return true;
}

void SqliteQuery::bindValue(const QString& placeholder, const QVariant& value)
{
    const qsizetype parameter = parameterOf(placeholder);
    if (parameter >= 0)
        values[parameter] = value;
    else if (prepareError.isEmpty())
        prepareError = {.text = u"the statement has no placeholder %1"_s.arg(placeholder)};
}

QVariant SqliteQuery::boundValue(const QString& placeholder) const
{
    const qsizetype parameter = parameterOf(placeholder);
    return parameter < 0 ? QVariant() : values[parameter];
}

void SqliteQuery::setForwardOnly(bool)
{
    // Every query of this engine is.
}

bool SqliteQuery::exec()
{
    error = {};
    insertedId.clear();
    affectedRows = -1;
    position = Position::NoRow;
    if (std::this_thread::get_id() != thread)
        return fail(otherThread());
    if (!prepareError.isEmpty())
        return fail(prepareError);
    if (!statement)
        return fail({.text = u"no statement is prepared"_s});
    if (const Failure& lost = session->lostTransactionError(); !lost.isEmpty())
        return fail(lost);

    sqlite3_reset(statement->handle.get());
    if (!bound.bind(statement->handle.get(), values))
        return fail({.text = bound.error()});
    return statement->readOnly ? execRead() : execWrite();
}

bool SqliteQuery::execRead()
{
    switch (sqlite3_step(statement->handle.get())) {
    case SQLITE_ROW:
        position = Position::BeforeFirstRow;
        return true;
    case SQLITE_DONE:
        sqlite3_reset(statement->handle.get());
        return true;
    default:
        failWithSqliteError();
        sqlite3_reset(statement->handle.get());
        return false;
    }
}

bool SqliteQuery::execWrite()
{
    // Its rows would be read after the commit, and until then nothing would be on the disk.
    if (columns > 0)
        return fail({.text = u"a statement that writes cannot return rows"_s});
    Failure refusal;
    if (!session->beginWrite(refusal))
        return fail(refusal);
    const bool done = sqlite3_step(statement->handle.get()) == SQLITE_DONE;
    if (done) {
        sqlite3* const database = session->connection().handle();
        insertedId = static_cast<qlonglong>(sqlite3_last_insert_rowid(database));
        affectedRows = sqlite3_changes(database);
    } else {
        failWithSqliteError();
    }
    sqlite3_reset(statement->handle.get());
    session->endWrite();
    return done;
}

bool SqliteQuery::fail(const Failure& reason)
{
    error = reason;
    session->report(error);
    return false;
}

bool SqliteQuery::failWithSqliteError()
{
    session->noteFailedStatement();
    return fail(failureOf(session->connection().handle()));
}

void SqliteQuery::dropStatement() noexcept
{
    position = Position::NoRow;
    if (!statement)
        return;
    if (std::this_thread::get_id() == thread)
        session->connection().release(statement);
    else
        session->leaveBehind(statement);
    statement = nullptr;
}

qsizetype SqliteQuery::parameterOf(const QString& placeholder) const
{
    if (!statement)
        return -1;
    // Managers bind in the order of the statement, but for the key of an UPDATE.
    const QStringList& names = statement->placeholders;
    qsizetype parameter = likelyParameter;
    if (parameter >= names.size() || names[parameter] != placeholder)
        parameter = names.indexOf(placeholder);
    likelyParameter = parameter + 1;
    return parameter;
}

bool FailedQuery::prepare(const QString& sql)
{
    text = sql;
    return false;
}

bool FailedQuery::exec()
{
    store->reportFailure(reason);
    return false;
}

} // namespace sync::database
