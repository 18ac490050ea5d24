#include <velmioctl/exchange/StoreSnapshot.h>

#include <database/DatabaseError.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QStringList>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;
using sync::interf::factory::IDatabaseFactory;
using velmioctl::doctor::CheckQuery;

namespace velmioctl::exchange {

namespace {

CommandError readingError(const QString& path, const DatabaseError& error)
{
    const CommandError reason = commandError(error);
    return {
        reason.code(),
        u"The database %1 cannot be read: %2 'velmioctl doctor' shows what is wrong with it."_s.arg(
            quoted(path), error.text()),
        reason.cause()};
}

std::shared_ptr<SqliteDatabaseFactory> open(const QString& path)
{
    try {
        return SqliteDatabaseFactory::openReadOnly(path);
    } catch (const DatabaseError& error) {
        throw readingError(path, error);
    }
}

} // namespace

StoreSnapshot::StoreSnapshot(const QString& path)
    : path(path)
    , database(open(path))
    , moment(database->GetDatabase())
{
    moment->transaction();
    read([this](IDatabaseFactory& factory) {
        CheckQuery query(factory, u"PRAGMA user_version"_s);
        version = query.next() ? query.number(0) : 0;
        for (const TableShape& table : tableShapes())
            requireColumns(table);
    });
}

void StoreSnapshot::check(const doctor::ReadFailure&) const
{
    if (const auto failure = database->lastFailure())
        throw readingError(path, {failure->cause, failure->text});
}

void StoreSnapshot::failAsTooNew() const
{
    throw CommandError(
        ExitCode::TooNew, u"The database %1 was written by a newer version, and holds data that "
                          u"this one does not know. "
                          u"Use that version."_s.arg(quoted(path)));
}

void StoreSnapshot::requireColumns(const TableShape& table)
{
    QList<QByteArray> expected;
    for (const Column& column : table.columns)
        expected += column.name;
    QList<QByteArray> found;
    CheckQuery query(
        *database, u"SELECT name FROM pragma_table_info(:name)"_s,
        {{u":name"_s, QString::fromLatin1(table.name)}});
    while (query.next())
        found += query.text(0).toUtf8();
    if (found == expected)
        return;
    if (version > SqliteDatabaseFactory::schemaVersion())
        failAsTooNew();
    throw CommandError(
        ExitCode::Damaged,
        u"The database %1 is damaged: its table %2 does not have the columns that it should have. "
        u"'velmioctl doctor' shows what is wrong with it."_s.arg(
            quoted(path), QString::fromLatin1(table.name)));
}

} // namespace velmioctl::exchange
