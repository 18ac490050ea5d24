#include <tree/store/StoreQueries.h>

#include <database/DatabaseError.h>
#include <database/FailureLog.h>
#include <interf/IDatabaseFactory.h>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::database::FailureSource;
using sync::interf::IQSqlQueryWrapper;

namespace sync::tree {

StoreQueries::StoreQueries(interf::factory::IDatabaseFactory& factory)
    : factory(factory)
{
}

std::shared_ptr<IQSqlQueryWrapper> StoreQueries::select(
    const QString& sql, const std::vector<Binding>& bindings) const
{
    auto query = factory.CreateQuery();
    query->setForwardOnly(true);
    query->prepare(sql);
    for (const auto& [placeholder, value] : bindings)
        query->bindValue(placeholder, value);
    if (!query->exec())
        fail(query->lastError());
    return query;
}

void StoreQueries::check(const IQSqlQueryWrapper& query) const
{
    if (const QString error = query.lastError(); !error.isEmpty())
        fail(error);
}

void StoreQueries::change(const QString& sql, const std::vector<Binding>& bindings) const
{
    select(sql, bindings);
}

qint64 StoreQueries::number(const QString& sql, const std::vector<Binding>& bindings) const
{
    const auto query = select(sql, bindings);
    const bool hasRow = query->next();
    check(*query);
    return hasRow ? query->value(0).toLongLong() : 0;
}

std::optional<database::ErrorGuard> StoreQueries::guard() const
{
    const auto* const source = dynamic_cast<const FailureSource*>(&factory);
    return source ? std::optional<database::ErrorGuard>(std::in_place, *source) : std::nullopt;
}

void StoreQueries::fail(const QString& action) const
{
    const auto* const source = dynamic_cast<const FailureSource*>(&factory);
    const auto failure = source ? source->lastFailure() : std::nullopt;
    if (failure)
        throw DatabaseError(failure->cause, failure->text);
    throw DatabaseError(
        DatabaseError::Cause::Other,
        action.isEmpty() ? u"The database failed for an unknown reason."_s : action);
}

} // namespace sync::tree
