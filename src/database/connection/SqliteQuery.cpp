#include <database/connection/SqliteQuery.h>

#include <database/pool/SqliteStore.h>

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
    return ColumnValue(sqlite3_column_value(statement->handle(), index));
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

bool SqliteQuery::holdsText(int index, QStringView expected) const
{
    return column(index).holds(expected);
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
    const int result = statement->step();
    if (result == SQLITE_ROW)
        return true;
    if (result != SQLITE_DONE)
        failWithSqliteError();
    position = Position::NoRow;
    // Ends the read: a statement left open would keep the log from being begun anew.
    statement->reset();
    return false;
}

bool SqliteQuery::prepare(const QString& sql)
{
    dropStatement();
    text = sql;
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
    return true;
}

template <typename Value>
void SqliteQuery::bind(const QString& placeholder, const Value& value)
{
    if (!statement)
        return;
    if (const auto parameter = statement->parameterOf(placeholder))
        statement->values.set(*parameter, value);
    else if (prepareError.isEmpty())
        prepareError = {.text = u"the statement has no placeholder %1"_s.arg(placeholder)};
}

void SqliteQuery::bindValue(const QString& placeholder, const QVariant& value)
{
    bind(placeholder, value);
}

void SqliteQuery::bindNumber(const QString& placeholder, qlonglong value)
{
    bind(placeholder, value);
}

void SqliteQuery::bindText(const QString& placeholder, const QString& value)
{
    bind(placeholder, value);
}

void SqliteQuery::bindTime(const QString& placeholder, const QDateTime& value)
{
    bind(placeholder, value);
}

QVariant SqliteQuery::boundValue(const QString& placeholder) const
{
    const auto parameter = statement ? statement->parameterOf(placeholder) : std::nullopt;
    return parameter ? statement->values.get(*parameter) : QVariant();
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

    statement->reset();
    if (!statement->values.bind(statement->handle()))
        return fail({.text = statement->values.error()});
    return statement->isReadOnly() ? execRead() : execWrite();
}

bool SqliteQuery::execRead()
{
    switch (statement->step()) {
    case SQLITE_ROW:
        position = Position::BeforeFirstRow;
        return true;
    case SQLITE_DONE:
        statement->reset();
        return true;
    default:
        failWithSqliteError();
        statement->reset();
        return false;
    }
}

bool SqliteQuery::execWrite()
{
    // Its rows would be read after the commit, and until then nothing would be on the disk.
    if (statement->hasColumns())
        return fail({.text = u"a statement that writes cannot return rows"_s});
    Failure refusal;
    if (!session->beginWrite(refusal))
        return fail(refusal);
    sqlite3* const database = session->connection().handle();
    const sqlite3_int64 changesBefore = sqlite3_total_changes64(database);
    const bool done = statement->step() == SQLITE_DONE;
    // A failed statement may keep what it did before, as INSERT OR FAIL.
    if (sqlite3_total_changes64(database) != changesBefore)
        session->noteChanges(statement->writtenTables());
    if (done) {
        insertedId = static_cast<qlonglong>(sqlite3_last_insert_rowid(database));
        affectedRows = sqlite3_changes(database);
    } else {
        failWithSqliteError();
    }
    statement->reset();
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
