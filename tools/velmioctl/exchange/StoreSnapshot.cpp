#include <velmioctl/exchange/StoreSnapshot.h>

#include <database/SqliteDatabaseFactory.h>
#include <database/opening/Migrations.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Text.h>

#include <QStringList>

#include <sqlite3.h>

using namespace Qt::StringLiterals;
using sync::database::SqliteDatabaseFactory;
using velmioctl::doctor::CheckQuery;
using velmioctl::doctor::ReadOnlyDatabase;
using velmioctl::doctor::UnreadableDatabase;

namespace velmioctl::exchange {

namespace {

ExitCode exitCodeOf(int result)
{
    switch (result) {
    case SQLITE_BUSY:
        return ExitCode::Busy;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
        return ExitCode::Damaged;
    default:
        return ExitCode::OtherError;
    }
}

CommandError readingError(const QString& path, int result, const QString& text)
{
    return {
        exitCodeOf(result),
        u"The database %1 cannot be read: %2. See what 'velmioctl doctor' says of it."_s.arg(
            quoted(path), text)};
}

ReadOnlyDatabase open(const QString& path)
{
    try {
        return ReadOnlyDatabase(path);
    } catch (const UnreadableDatabase& error) {
        throw readingError(path, error.result(), error.text());
    }
}

} // namespace

StoreSnapshot::StoreSnapshot(const QString& path)
    : path(path)
    , database(open(path))
{
    if (!database.readsLog()) {
        throw CommandError(
            ExitCode::OtherError,
            u"The newest changes of the database %1 are in its log, which cannot be read: make "
            u"room on its disk, or run this as a user who may write beside it."_s.arg(
                quoted(path)));
    }
    database.begin();
    read([this](ReadOnlyDatabase&) { requireOurs(); });
}

void StoreSnapshot::check(const doctor::ReadFailure& failure) const
{
    const int result = database.lastResult();
    if (result != SQLITE_OK && result != SQLITE_ROW && result != SQLITE_DONE)
        throw readingError(path, result, failure.text());
}

void StoreSnapshot::failAsTooNew() const
{
    throw CommandError(
        ExitCode::TooNew,
        u"The database %1 was written by a newer version, which keeps in it what this one does not "
        u"know: use that version."_s.arg(quoted(path)));
}

void StoreSnapshot::requireOurs()
{
    version = number(u"PRAGMA user_version"_s);
    if (number(u"PRAGMA application_id"_s) != sync::database::ApplicationId) {
        throw CommandError(
            ExitCode::Damaged,
            u"%1 is the database of another program: name the right file."_s.arg(quoted(path)));
    }
    if (version < 0) {
        throw CommandError(
            ExitCode::Damaged,
            u"The database %1 is damaged: its schema version is %2. See what 'velmioctl doctor' "
            u"says of it."_s.arg(quoted(path), QString::number(version)));
    }
    if (version > SqliteDatabaseFactory::schemaVersion() &&
        number(u"SELECT lastCompatibleVersion FROM StoreIdentity"_s) >
            SqliteDatabaseFactory::schemaVersion())
        failAsTooNew();
    for (const TableShape& table : tableShapes())
        requireColumns(table);
}

void StoreSnapshot::requireColumns(const TableShape& table)
{
    QList<QByteArray> expected;
    for (const Column& column : table.columns)
        expected += column.name;
    QList<QByteArray> found;
    CheckQuery query(
        database, u"SELECT name FROM pragma_table_info(:name)"_s,
        {{u":name"_s, QString::fromLatin1(table.name)}});
    while (query.next())
        found += query.text(0).toUtf8();
    if (found == expected)
        return;
    if (version > SqliteDatabaseFactory::schemaVersion())
        failAsTooNew();
    throw CommandError(
        ExitCode::Damaged,
        u"The database %1 is damaged: its table %2 does not have the columns that it should. See "
        u"what 'velmioctl doctor' says of it."_s.arg(
            quoted(path), QString::fromLatin1(table.name)));
}

qint64 StoreSnapshot::number(const QString& sql)
{
    CheckQuery query(database, sql);
    return query.next() ? query.number(0) : 0;
}

} // namespace velmioctl::exchange
