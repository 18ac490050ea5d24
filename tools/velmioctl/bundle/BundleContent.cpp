#include <velmioctl/bundle/BundleContent.h>

#include <base/system/FileRights.h>
#include <database/DatabaseBackups.h>
#include <database/SqliteDatabaseFactory.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/doctor/Doctor.h>
#include <velmioctl/exchange/StoreRows.h>
#include <velmioctl/exchange/StoreSnapshot.h>
#include <velmioctl/store/Records.h>

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSysInfo>

#include <sodium.h>
#include <sqlite3.h>

#include <map>

using namespace Qt::StringLiterals;
using namespace velmioctl::exchange;
using sync::database::DatabaseBackups;
using sync::interf::factory::IDatabaseFactory;

namespace velmioctl::bundle {

namespace {

const QByteArray ReadMe = R"(A support bundle of a configuration database

versions.json   the versions of the program, its libraries and the system
database.json   the file, its backups, and how many rows its tables have
settings.json   servers, sign-ins, products, folders and schedules
findings.json   what 'velmioctl doctor' finds
errors.json     the errors while this bundle was made; earlier errors are not recorded

It contains no password, product secret or key, and no name-value property.
)";
const QByteArray TokenNote = R"(
Names, paths, hosts and users are tokens such as t-0123456789ab. The same text has the same token
everywhere in this bundle, and another one in any other bundle.
)";
const QByteArray PathNote = R"(
Names, paths, hosts and users are not replaced, because of --keep-paths. Ids and keys that a server
hands out, and names with a password or a query in them, are tokens such as t-0123456789ab.
)";

QByteArray textOf(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

QJsonObject versions()
{
    return {
        {u"velmioctl"_s, QStringLiteral(VELMIO_VERSION)},
        {u"schema"_s, sync::database::SqliteDatabaseFactory::schemaVersion()},
        {u"sqlite"_s, QString::fromLatin1(sqlite3_libversion())},
        {u"qt"_s, QString::fromLatin1(qVersion())},
        {u"libsodium"_s, QString::fromLatin1(sodium_version_string())},
        {u"system"_s, QSysInfo::prettyProductName()},
        {u"kernel"_s, QSysInfo::kernelType() + u' ' + QSysInfo::kernelVersion()},
        {u"processor"_s, QSysInfo::currentCpuArchitecture()},
    };
}

/// The findings of doctor, without personal data.
class Findings : public doctor::Examiner
{
public:
    explicit Findings(const Redactor& redactor)
        : redactor(redactor)
    {
    }

    void found(const doctor::Check& check, const doctor::Row& row) override
    {
        if (list.empty() || list.back().check.id != check.id)
            list.push_back({check});
        Finding& finding = list.back();
        if (finding.count++ < MostRows)
            finding.rows.append(toJson(row));
    }
    void fixable(const doctor::Fix&, long long count) override { list.back().fixable += count; }

    QJsonObject toJson() const
    {
        QJsonArray findings;
        for (const Finding& finding : list) {
            findings.append(QJsonObject{
                {u"check"_s, finding.check.id},
                {u"title"_s, finding.check.title},
                {u"count"_s, finding.count},
                {u"fixable"_s, finding.fixable},
                {u"rows"_s, finding.rows}});
        }
        return {{u"findings"_s, findings}};
    }

private:
    static constexpr long long MostRows = 1000;

    struct Finding
    {
        doctor::Check check;
        long long count = 0;
        long long fixable = 0;
        QJsonArray rows = {};
    };

    QJsonObject toJson(const doctor::Row& row) const
    {
        return {
            {u"table"_s, row.table},
            {u"id"_s, row.id},
            {u"name"_s, redactor.path(row.name)},
            {u"detail"_s, redactor.message(row.detail)}};
    }

    const Redactor& redactor;
    std::vector<Finding> list;
};

/// How many rows a table has, and how often each value occurs in the columns that are counted.
class Counts
{
public:
    explicit Counts(const TableShape& table)
        : table(table)
    {
    }

    void add(const Row& row)
    {
        ++rows;
        for (size_t at = 0; at < table.columns.size(); ++at) {
            const Column& column = table.columns[at];
            if (column.disclosure == Disclosure::Counted)
                ++values[column.name][wordFor(row.values[at])];
        }
    }

    QJsonObject toJson(qint64 lastId) const
    {
        QJsonObject object{{u"rows"_s, rows}, {u"lastId"_s, lastId}};
        for (const auto& [column, spread] : values) {
            QJsonObject counts;
            for (const auto& [word, count] : spread)
                counts.insert(word, count);
            object.insert(QString::fromLatin1(column), counts);
        }
        return object;
    }

private:
    static QString wordFor(const Value& value)
    {
        if (const auto* const number = std::get_if<qint64>(&value))
            return QString::number(*number);
        return std::holds_alternative<Null>(value) ? u"null"_s : u"no integer"_s;
    }

    const TableShape& table;
    qint64 rows = 0;
    std::map<QByteArray, std::map<QString, qint64>> values;
};

QJsonObject rowOf(const TableShape& table, const Row& row, const Redactor& redactor)
{
    QJsonObject object;
    for (size_t at = 0; at < table.columns.size(); ++at) {
        const Column& column = table.columns[at];
        const QJsonValue value = redactor.value(row.values[at], column.disclosure);
        if (!value.isUndefined())
            object.insert(QString::fromLatin1(column.name), value);
    }
    return object;
}

/// What the tables hold.
struct Tables
{
    QJsonObject counts;
    QJsonObject settings;
};

Tables readTables(IDatabaseFactory& database, const Redactor& redactor)
{
    std::vector<const TableShape*> shapes;
    for (const TableShape& table : tableShapes())
        shapes.push_back(&table);
    Tables tables;
    StoreRows rows(database, shapes);
    while (rows.nextTable()) {
        Counts counts(rows.table());
        QJsonArray array;
        while (rows.nextRow()) {
            counts.add(rows.row());
            if (const QJsonObject row = rowOf(rows.table(), rows.row(), redactor); !row.isEmpty())
                array.append(row);
        }
        const QString name = QString::fromLatin1(rows.table().name);
        tables.counts.insert(name, counts.toJson(rows.lastId()));
        if (!array.isEmpty())
            tables.settings.insert(name, array);
    }
    return tables;
}

QJsonArray backupsOf(const QString& path)
{
    QJsonArray array;
    for (const auto& backup : DatabaseBackups(path).list()) {
        array.append(QJsonObject{
            {u"time"_s, velmioctl::toJson(backup.time)},
            {u"reason"_s, DatabaseBackups::wordFor(backup.reason)},
            {u"bytes"_s, backup.bytes}});
    }
    return array;
}

QJsonObject fileOf(const QString& path, const Redactor& redactor)
{
    return {
        {u"path"_s, redactor.path(path)},
        {u"bytes"_s, QFileInfo(path).size()},
        {u"logBytes"_s, QFileInfo(path + u"-wal"_s).size()},
        {u"permissions"_s, sync::base::permissionsOf(path)},
        {u"backups"_s, backupsOf(path)},
    };
}

} // namespace

std::vector<Entry> collect(const QString& path, const Redactor& redactor, bool keepPaths)
{
    QJsonArray errors;
    QJsonObject database = fileOf(path, redactor);
    Tables tables;
    try {
        StoreSnapshot snapshot(path);
        database.insert(u"schemaVersion"_s, snapshot.schemaVersion());
        snapshot.read([&](IDatabaseFactory& opened) { tables = readTables(opened, redactor); });
    } catch (const CommandError& error) {
        errors.append(redactor.message(error.text()));
    }
    database.insert(u"tables"_s, tables.counts);
    Findings findings(redactor);
    doctor::examine(path, findings);
    return {
        {"README.txt", ReadMe + (keepPaths ? PathNote : TokenNote), "what the others are"},
        {"versions.json", textOf(versions()), "versions of program, libraries and system"},
        {"database.json", textOf(database), "the file, its backups, counts of rows"},
        {"settings.json", textOf(tables.settings),
         "servers, sign-ins, products, folders, schedules"},
        {"findings.json", textOf(findings.toJson()), "what doctor finds"},
        {"errors.json", textOf({{u"whileMakingThis"_s, errors}}), "errors met while this was made"},
    };
}

} // namespace velmioctl::bundle
