#include <fleet/connection/PostgresQuery.h>

#include <fleet/statement/TranslationCache.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace sync::fleet {

namespace {

database::Failure otherThread()
{
    return {.text = u"a query belongs to the thread that created it"_s};
}

} // namespace

PostgresQuery::PostgresQuery(std::shared_ptr<ConnectionPool> pool)
    : connection(std::move(pool))
{
}

ColumnValue PostgresQuery::column(int index) const
{
    const auto at = static_cast<std::size_t>(index);
    if (row < 0 || at >= columnTypes.size()) // a negative index is large
        return {nullptr, 0, 0, 0};
    return {result.get(), row, index, columnTypes[at]};
}

int PostgresQuery::intValue(int index) const
{
    return static_cast<int>(column(index).toLongLong());
}

bool PostgresQuery::holdsText(int index, QStringView expected) const
{
    return column(index).holds(expected);
}

bool PostgresQuery::next()
{
    if (!result)
        return false;
    if (nextRow < PQntuples(result.get())) {
        row = nextRow++;
        return true;
    }
    row = -1;
    result.reset();
    return false;
}

bool PostgresQuery::prepare(const QString& sql)
{
    row = -1;
    result.reset();
    text = sql;
    prepareError = {};
    statement = connection.pool->translations().find(sql);
    values.assign(statement->placeholders.size(), {});
    nextValue = 0;
    if (statement->kind == Translation::Kind::Refused)
        prepareError = {.text = statement->refusal};
    else if (std::this_thread::get_id() != thread)
        prepareError = otherThread();
    // Counts as a failure when exec() tries it.
    error = prepareError;
    return prepareError.isEmpty();
}

// Managers bind in the order of the statement, except for the key of an UPDATE.
std::optional<std::size_t> PostgresQuery::find(const QString& placeholder) const
{
    if (!statement)
        return {};
    const auto& names = statement->placeholders;
    if (nextValue < names.size() && names[nextValue] == placeholder)
        return nextValue;
    const auto found = std::find(names.begin(), names.end(), placeholder);
    if (found == names.end())
        return {};
    return static_cast<std::size_t>(found - names.begin());
}

template <typename Value>
void PostgresQuery::bind(const QString& placeholder, const Value& value)
{
    if (const auto found = find(placeholder)) {
        values[*found] = value;
        nextValue = *found + 1;
    } else if (statement && prepareError.isEmpty()) {
        prepareError = {.text = u"the statement has no placeholder %1"_s.arg(placeholder)};
    }
}

void PostgresQuery::bindValue(const QString& placeholder, const QVariant& value)
{
    bind(placeholder, value);
}

void PostgresQuery::bindNumber(const QString& placeholder, qlonglong value)
{
    bind(placeholder, value);
}

void PostgresQuery::bindText(const QString& placeholder, const QString& value)
{
    bind(placeholder, value);
}

void PostgresQuery::bindTime(const QString& placeholder, const QDateTime& value)
{
    bind(placeholder, value);
}

QVariant PostgresQuery::boundValue(const QString& placeholder) const
{
    const auto found = find(placeholder);
    return found ? toVariant(values[*found]) : QVariant();
}

void PostgresQuery::setForwardOnly(bool)
{
    // Every query of this engine is.
}

bool PostgresQuery::exec()
{
    error = {};
    insertedId.clear();
    affectedRows = -1;
    row = -1;
    nextRow = 0;
    result.reset();
    if (std::this_thread::get_id() != thread)
        return fail(otherThread());
    if (!prepareError.isEmpty())
        return fail(prepareError);
    if (!statement)
        return fail({.text = u"no statement is prepared"_s});
    database::Failure failure;
    result = connection->run(*statement, values, failure);
    if (!result)
        return fail(std::move(failure));
    if (statement->kind == Translation::Kind::Read) {
        columnTypes.clear();
        for (int index = 0; index < PQnfields(result.get()); ++index)
            columnTypes.push_back(PQftype(result.get(), index));
        return true;
    }
    affectedRows = QByteArray(PQcmdTuples(result.get())).toInt();
    if (statement->returnsId && PQntuples(result.get()) > 0)
        insertedId = ColumnValue(result.get(), 0, 0).toLongLong();
    result.reset();
    return true;
}

// Listeners may take long: no statement is running.
bool PostgresQuery::fail(database::Failure reason)
{
    error = std::move(reason);
    connection.pool->failures().report(error);
    return false;
}

} // namespace sync::fleet
