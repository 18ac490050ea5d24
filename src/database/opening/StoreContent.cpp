#include <database/opening/StoreContent.h>

#include <database/connection/SqliteError.h>
#include <database/connection/SqliteHandle.h>
#include <database/opening/Migrations.h>
#include <database/opening/SchemaComparison.h>
#include <database/opening/StoreIdentity.h>
#include <database/schema/Tables.h>

#include <sqlite3.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using Cause = DatabaseError::Cause;
using Kind = StoreInspection::Kind;

QStringList missingTables(sqlite3* database, const QString& path)
{
    QStringList missing;
    for (const char* const table : Tables) {
        const QByteArray count =
            "SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND name = '" +
            QByteArray(table) + "'";
        if (queryNumber(database, count.constData(), path) == 0)
            missing += QLatin1StringView(table);
    }
    return missing;
}

// The names come from the file, and may be of any length.
QString nameOf(const SchemaDifference& difference)
{
    constexpr qsizetype ShownLength = 60;
    const QString name = difference.name.left(ShownLength).simplified();
    const bool isPart = difference.type == u"trigger" || difference.type == u"index";
    return isPart ? u"the %1 %2 of %3"_s.arg(
                        difference.type, name, difference.table.left(ShownLength).simplified())
                  : u"the %1 %2"_s.arg(difference.type, name);
}

StoreContent alteredStore(const QList<SchemaDifference>& differences)
{
    QStringList names;
    for (const SchemaDifference& difference : differences) {
        if (difference.canAct)
            names += nameOf(difference);
    }
    constexpr qsizetype ShownNames = 3;
    const qsizetype others = names.size() - ShownNames;
    QString list = names.first(std::min(names.size(), ShownNames)).join(u", "_s);
    if (others > 0)
        list += u" and %1 more"_s.arg(others);
    return {
        Kind::Altered,
        u"has something foreign in its schema that could change or falsify records: "_s + list,
        Cause::AlteredSchema};
}

} // namespace

QString StoreContent::sentence(const QString& subject) const
{
    const QString text = subject + u' ' + predicate;
    return text.endsWith(u'.') ? text : text + u'.';
}

StoreContent emptyFile()
{
    return {Kind::Empty, u"is empty"_s, Cause::NotADatabase};
}

StoreContent unfinishedStore()
{
    return {Kind::Unfinished, u"has a transaction that was not finished"_s};
}

StoreContent foreignDatabase()
{
    return {Kind::Foreign, u"is a database of another program"_s, Cause::ForeignDatabase};
}

StoreContent damagedStore(const QString& finding)
{
    return {Kind::Damaged, u"is damaged: "_s + finding, Cause::Damaged, 0, {finding}};
}

StoreContent contentOf(const DatabaseError& error)
{
    const auto* const sqlite = dynamic_cast<const SqliteError*>(&error);
    const QString reason = sqlite ? sqlite->reason() : error.text();
    const QString finding = reason.section(u". "_s, 0, 0); // without the remedy
    switch (sqlite ? sqlite->primaryCode() : SQLITE_OK) {
    case SQLITE_NOTADB:
        return {Kind::NotADatabase, u"is not an SQLite database"_s, Cause::NotADatabase};
    case SQLITE_ERROR: // no such table or column
        return damagedStore(finding);
    case SQLITE_READONLY:
        return unfinishedStore();
    default:
        break;
    }
    switch (error.cause()) {
    case Cause::Damaged:
        return damagedStore(finding);
    case Cause::Busy:
        return {Kind::Busy, u"is locked: "_s + reason, Cause::Busy};
    default:
        return {Kind::Unreadable, u"cannot be read: "_s + reason, error.cause()};
    }
}

StoreContent readMark(sqlite3* database, const QString& path)
{
    const auto applicationId = queryNumber(database, "PRAGMA application_id", path);
    const auto version = queryNumber(database, "PRAGMA user_version", path);
    if (applicationId != ApplicationId) {
        // A file without a mark may become a store if nobody has put anything into it.
        if (applicationId == 0 && version == 0 &&
            queryNumber(database, "SELECT count(*) FROM sqlite_schema", path) == 0)
            return emptyFile();
        return foreignDatabase();
    }
    StoreContent content;
    if (version < 0)
        content = damagedStore(u"its schema version is %1"_s.arg(version));
    else if (
        version > currentSchemaVersion() && !admitsVersion(database, currentSchemaVersion(), path))
        content = {
            Kind::TooNew,
            u"has schema version %1, and this program knows versions up to %2"_s.arg(
                QString::number(version), QString::number(currentSchemaVersion())),
            Cause::TooNew};
    content.version = version;
    return content;
}

ForeignSchema foreignSchemaOf(const OpenOptions& options)
{
    return options.foreignSchema ? ForeignSchema::Allowed : ForeignSchema::Refused;
}

StoreContent readSchema(sqlite3* database, const QString& path, ForeignSchema foreign)
{
    StoreContent content = readMark(database, path);
    if (!content.isOurs())
        return content;
    const qint64 version = content.version;
    const auto differences = schemaDifferencesOf(database, version, path);
    const bool anyCanAct = std::any_of(
        differences.begin(), differences.end(),
        [](const SchemaDifference& difference) { return difference.canAct; });
    if (anyCanAct && foreign == ForeignSchema::Refused)
        content = alteredStore(differences);
    content.version = version;
    content.differences = differences;
    return content;
}

StoreContent readWhole(sqlite3* database, const QString& path, ForeignSchema foreign)
{
    StoreContent content = readSchema(database, path, foreign);
    if (!content.isOurs())
        return content;
    const qint64 version = content.version;
    const auto differences = content.differences;
    const QStringList missing = missingTables(database, path);
    const QStringList damage =
        missing.isEmpty() ? queryDamage(database, "PRAGMA integrity_check", path)
                          : QStringList(u"the table %1 is missing"_s.arg(missing.join(u", "_s)));
    if (!damage.isEmpty())
        content = damagedStore(damage.constFirst());
    content.version = version;
    content.differences = differences;
    content.damage = damage;
    content.missingTables = missing;
    return content;
}

} // namespace sync::database
