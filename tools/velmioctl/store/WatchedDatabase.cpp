#include <velmioctl/store/WatchedDatabase.h>

#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/Text.h>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::database::ErrorGuard;
using sync::database::Failure;
using sync::database::SqliteDatabaseFactory;
using sync::interf::IQSqlDatabaseWrapper;
using sync::interf::IQSqlQueryWrapper;

namespace velmioctl {

namespace {

ExitCode exitCodeOf(DatabaseError::Cause cause)
{
    switch (cause) {
    case DatabaseError::Cause::Busy:
        return ExitCode::Busy;
    case DatabaseError::Cause::Damaged:
    case DatabaseError::Cause::Directory:
    case DatabaseError::Cause::ForeignDatabase:
    case DatabaseError::Cause::NotADatabase:
        return ExitCode::Damaged;
    case DatabaseError::Cause::TooNew:
        return ExitCode::TooNew;
    default:
        return ExitCode::OtherError;
    }
}

// A word for programs; empty where that of the exit code says it all.
QString wordFor(DatabaseError::Cause cause)
{
    switch (cause) {
    case DatabaseError::Cause::Directory:
        return u"directory"_s;
    case DatabaseError::Cause::NoPermission:
        return u"no-permission"_s;
    case DatabaseError::Cause::ReadOnly:
        return u"read-only"_s;
    case DatabaseError::Cause::NotADatabase:
        return u"not-a-database"_s;
    case DatabaseError::Cause::ForeignDatabase:
        return u"foreign-database"_s;
    case DatabaseError::Cause::DiskFull:
        return u"disk-full"_s;
    case DatabaseError::Cause::InputOutput:
        return u"input-output"_s;
    case DatabaseError::Cause::IdsUsedUp:
        return u"ids-used-up"_s;
    case DatabaseError::Cause::Untrusted:
        return u"untrusted"_s;
    default:
        return {};
    }
}

QString remedyFor(DatabaseError::Cause cause)
{
    switch (cause) {
    case DatabaseError::Cause::Damaged:
        return u" 'velmioctl recover --from-backup' replaces it by the newest intact backup, and "
               u"'velmioctl recover --salvage' by what can still be read of it. Both keep the "
               u"damaged file."_s;
    case DatabaseError::Cause::NotADatabase:
        return u" If it was your database, 'velmioctl recover --from-backup' replaces it by the "
               u"newest intact backup, and keeps the file."_s;
    case DatabaseError::Cause::IdsUsedUp:
        return u" 'velmioctl doctor --fix' does that."_s;
    default:
        return {};
    }
}

} // namespace

CommandError commandError(const DatabaseError& error)
{
    return {exitCodeOf(error.cause()), error.text(), wordFor(error.cause())};
}

CommandError openingError(const DatabaseError& error)
{
    return {
        exitCodeOf(error.cause()), error.text() + remedyFor(error.cause()), wordFor(error.cause())};
}

WatchedDatabase::WatchedDatabase(std::shared_ptr<SqliteDatabaseFactory> openFactory)
    : factory(std::move(openFactory))
    , listening(factory->onFailure([this](const Failure& failure) {
        // The first one is the cause of those that follow.
        if (!firstFailure)
            firstFailure = failure;
    }))
{
}

WatchedDatabase::~WatchedDatabase() = default;

std::shared_ptr<IQSqlDatabaseWrapper> WatchedDatabase::GetDatabase()
{
    return factory->GetDatabase();
}

std::shared_ptr<IQSqlQueryWrapper> WatchedDatabase::CreateQuery()
{
    return factory->CreateQuery();
}

QString WatchedDatabase::path() const
{
    return factory->path();
}

ErrorGuard WatchedDatabase::guard() const
{
    return ErrorGuard(*factory);
}

void WatchedDatabase::check()
{
    const auto failure = std::exchange(firstFailure, {});
    if (!failure)
        return;
    QString text = u"The database %1 failed: %2"_s.arg(quoted(path()), failure->text);
    if (!text.endsWith(u'.'))
        text += u'.';
    if (failure->cause == DatabaseError::Cause::Other)
        text += u" See 'velmioctl stats', and try again."_s;
    throw CommandError(
        exitCodeOf(failure->cause), text + remedyFor(failure->cause), wordFor(failure->cause));
}

void WatchedDatabase::check(bool succeeded, const QString& action)
{
    check();
    if (succeeded)
        return;
    throw CommandError(
        ExitCode::OtherError, action +
                                  u" failed for an unknown reason. See 'velmioctl stats', and try "
                                  u"again."_s);
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
    , guard(database.guard())
    , transaction(database)
{
    database.check(transaction.isOpen(), u"Beginning a transaction"_s);
}

void Transaction::commit()
{
    database.check();
    if (guard.failed()) {
        throw CommandError(
            ExitCode::OtherError,
            u"Nothing was changed, because the database failed meanwhile. Run "
            u"the command again."_s);
    }
    database.check(transaction.commit(), u"Storing the changes"_s);
}

} // namespace velmioctl
