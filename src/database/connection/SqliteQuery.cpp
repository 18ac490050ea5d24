#include <database/connection/SqliteQuery.h>

#include <database/connection/SqliteError.h>

#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

Failure otherThread()
{
    return {.text = u"a query belongs to the thread that created it"_s};
}

Failure changedMeanwhile()
{
    return {
        .cause = DatabaseError::Cause::Busy,
        .text = u"another program has changed the database while it was read without locks: read "
                u"it again"_s};
}

} // namespace

SqliteQuery::SqliteQuery(std::shared_ptr<ConnectionPool> pool)
    : connection(std::move(pool))
{
}

// NULL without a row; SQLite returns it for a column that does not exist.
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
    const bool overtaken =
        result == SQLITE_ROW ? connection->wasOvertakenAtRow() : connection->wasOvertaken();
    if (result == SQLITE_ROW && !overtaken)
        return true;
    const Failure failure = overtaken               ? changedMeanwhile()
                            : result == SQLITE_DONE ? Failure()
                                                    : connection->noteFailedStatement();
    position = Position::NoRow;
    // Ends the read: an open statement would keep the WAL from being reused from its beginning.
    statement->reset();
    return failure.isEmpty() ? false : fail(failure);
}

bool SqliteQuery::prepare(const QString& sql)
{
    position = Position::NoRow;
    statement = {};
    text = sql;
    prepareError = {};
    if (std::this_thread::get_id() == thread)
        statement = connection->prepare(sql, prepareError);
    else
        prepareError = otherThread();
    if (!statement) {
        // Counts as a failure when exec() tries it.
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
    if (const Failure& lost = connection->lostTransactionError(); !lost.isEmpty())
        return fail(lost);

    statement->reset();
    if (!statement->values.bind(statement->handle()))
        return fail({.text = statement->values.error()});
    return statement->isReadOnly() ? execRead() : execWrite();
}

bool SqliteQuery::execRead()
{
    const int result = statement->step();
    if (connection->wasOvertaken()) {
        statement->reset();
        return fail(changedMeanwhile());
    }
    switch (result) {
    case SQLITE_ROW:
        position = Position::BeforeFirstRow;
        return true;
    case SQLITE_DONE:
        statement->reset();
        return true;
    default:
        const Failure failure = connection->noteFailedStatement();
        statement->reset();
        return fail(failure);
    }
}

bool SqliteQuery::execWrite()
{
    // Its rows would be read after the commit, and until then nothing would be on the disk.
    if (statement->hasColumns())
        return fail({.text = u"a statement that writes cannot return rows"_s});
    Failure refusal;
    if (!connection->beginWrite(refusal))
        return fail(refusal);
    sqlite3* const database = connection->handle();
    const sqlite3_int64 changesBefore = sqlite3_total_changes64(database);
    const bool done = statement->step() == SQLITE_DONE;
    // A failed statement may keep what it did before, like INSERT OR FAIL.
    if (sqlite3_total_changes64(database) != changesBefore)
        connection->noteChanges(statement->writtenKinds());
    Failure failure;
    if (done) {
        insertedId = static_cast<qlonglong>(sqlite3_last_insert_rowid(database));
        affectedRows = sqlite3_changes(database);
    } else {
        failure = connection->noteFailedStatement();
    }
    statement->reset();
    connection->endWrite();
    return done || fail(failure);
}

// Listeners may take long: no statement is running, and outside a transaction this thread has given
// its turn back.
bool SqliteQuery::fail(Failure reason)
{
    error = std::move(reason);
    connection.pool->failures().report(error);
    return false;
}

bool FailedQuery::prepare(const QString& sql)
{
    text = sql;
    return false;
}

bool FailedQuery::exec()
{
    pool->failures().report(reason);
    return false;
}

} // namespace sync::database
