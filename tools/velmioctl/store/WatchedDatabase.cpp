#include <velmioctl/store/WatchedDatabase.h>

#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/Text.h>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::database::ErrorGuard;
using sync::database::Failure;
using sync::database::FailureSource;
using sync::database::IdentitySource;
using sync::database::SqliteDatabaseFactory;
using sync::interf::IQSqlDatabaseWrapper;
using sync::interf::IQSqlQueryWrapper;
using sync::interf::factory::IDatabaseFactory;

namespace velmioctl {

namespace {

/// How the tool answers when the engine fails for a reason.
struct Answer
{
    DatabaseError::Cause cause;
    ExitCode exitCode;
    QStringView word = {}; ///< For programs; empty where that of the exit code says it all.
};

using Cause = DatabaseError::Cause;

constexpr std::array Answers{
    Answer{Cause::Busy, ExitCode::Busy},
    Answer{Cause::Damaged, ExitCode::Damaged},
    Answer{Cause::Directory, ExitCode::Damaged, u"directory"},
    Answer{Cause::NotADatabase, ExitCode::Damaged, u"not-a-database"},
    Answer{Cause::ForeignDatabase, ExitCode::Damaged, u"foreign-database"},
    Answer{Cause::TooNew, ExitCode::TooNew},
    Answer{Cause::NoPermission, ExitCode::OtherError, u"no-permission"},
    Answer{Cause::ReadOnly, ExitCode::OtherError, u"read-only"},
    Answer{Cause::DiskFull, ExitCode::OtherError, u"disk-full"},
    Answer{Cause::InputOutput, ExitCode::OtherError, u"input-output"},
    Answer{Cause::IdsUsedUp, ExitCode::OtherError, u"ids-used-up"},
    Answer{Cause::Untrusted, ExitCode::OtherError, u"untrusted"},
    Answer{Cause::AlteredSchema, ExitCode::Damaged, u"altered-schema"},
};

CommandError answerTo(Cause cause, const QString& text)
{
    const auto* const answer = std::find_if(
        Answers.begin(), Answers.end(),
        [cause](const Answer& known) { return known.cause == cause; });
    const bool isKnown = answer != Answers.end();
    return {
        isKnown ? answer->exitCode : ExitCode::OtherError, text,
        isKnown ? answer->word.toString() : QString()};
}

QString remedyFor(Cause cause)
{
    switch (cause) {
    case Cause::Damaged:
        return u" 'velmioctl recover --from-backup' replaces it by the newest intact backup, and "
               u"'velmioctl recover --salvage' by what can still be read of it. Both keep the "
               u"damaged file."_s;
    case Cause::NotADatabase:
        return u" If it was your database, 'velmioctl recover --from-backup' replaces it by the "
               u"newest intact backup, and keeps the file."_s;
    case Cause::AlteredSchema:
        return u" 'velmioctl doctor' says what there is, and 'velmioctl doctor --fix' removes what "
               u"it can after a backup."_s;
    case Cause::IdsUsedUp:
        return u" 'velmioctl doctor --fix' does that."_s;
    default:
        return {};
    }
}

} // namespace

CommandError commandError(const DatabaseError& error)
{
    return answerTo(error.cause(), error.text());
}

CommandError openingError(const DatabaseError& error)
{
    return answerTo(error.cause(), error.text() + remedyFor(error.cause()));
}

WatchedDatabase::WatchedDatabase(std::shared_ptr<SqliteDatabaseFactory> file)
    : WatchedDatabase(file, file, *file, *file, file->path())
{
}

WatchedDatabase::WatchedDatabase(
    std::shared_ptr<IDatabaseFactory> factory, std::shared_ptr<SqliteDatabaseFactory> file,
    FailureSource& failures, const IdentitySource& identity, const QString& name)
    : factory(std::move(factory))
    , file(std::move(file))
    , failures(failures)
    , identity(identity)
    , name(name)
    , listening(failures.onFailure([this](const Failure& failure) {
        // The first one is the cause of those that follow.
        const std::lock_guard lock(mutex);
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

QString WatchedDatabase::storeId() const
{
    return identity.storeId();
}

int WatchedDatabase::failureCount() const
{
    return failures.failureCount();
}

std::optional<Failure> WatchedDatabase::lastFailure() const
{
    return failures.lastFailure();
}

sync::database::Listening WatchedDatabase::onFailure(
    std::function<void(const Failure& failure)> function)
{
    return failures.onFailure(std::move(function));
}

ErrorGuard WatchedDatabase::guard() const
{
    return ErrorGuard(failures);
}

void WatchedDatabase::check()
{
    const auto failure = [this] {
        const std::lock_guard lock(mutex);
        return std::exchange(firstFailure, {});
    }();
    if (!failure)
        return;
    QString text = u"The database %1 failed: %2"_s.arg(quoted(path()), failure->text);
    if (!text.endsWith(u'.'))
        text += u'.';
    if (failure->cause == DatabaseError::Cause::Other)
        text += u" See 'velmioctl stats', and try again."_s;
    throw answerTo(failure->cause, text + remedyFor(failure->cause));
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

void WatchedDatabase::fail(const DatabaseError& error)
{
    check();
    throw commandError(error);
}

std::shared_ptr<IQSqlQueryWrapper> WatchedDatabase::select(
    const QString& sql, const std::vector<Binding>& bindings)
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

void WatchedDatabase::change(const QString& sql, const std::vector<Binding>& bindings)
{
    select(sql, bindings);
}

long long WatchedDatabase::number(const QString& sql, const std::vector<Binding>& bindings)
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
