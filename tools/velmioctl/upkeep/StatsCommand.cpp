#include <velmioctl/upkeep/Commands.h>

#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/cli/Metrics.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/store/Columns.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

struct RootCount
{
    int id;
    QString path;
    long long folders;
    long long files;
    long long bytes;
};

struct Stats
{
    QString path;
    bool isFile = true; // and no store of a fleet
    long long fileBytes = 0;
    bool hasWal = true;
    long long walBytes = 0;
    QString sqliteVersion;
    long long schemaVersion = 0;
    QString storeId;
    bool moved = false;
    std::vector<std::pair<QString, long long>> tableRows;
    std::vector<RootCount> roots;
};

std::vector<RootCount> readRoots(WatchedDatabase& database)
{
    const auto query = database.select(
        u"SELECT root.id, root.clientPath,"
        u" (SELECT count(*) FROM FolderConfiguration AS folder WHERE folder.rootId = root.id),"
        u" (SELECT count(*) FROM FileConfiguration AS file WHERE file.rootFolderId = root.id),"
        u" (SELECT sum(size) FROM FileConfiguration AS file WHERE file.rootFolderId = root.id)"
        u" FROM FolderConfiguration AS root WHERE root.parentId = 0 ORDER BY root.clientPath"_s);
    std::vector<RootCount> roots;
    while (query->next()) {
        roots.push_back(
            {query->value(0).toInt(), query->value(1).toString(), query->value(2).toLongLong(),
             query->value(3).toLongLong(), query->value(4).toLongLong()});
    }
    database.check();
    return roots;
}

QString readText(WatchedDatabase& database, const QString& sql)
{
    const auto query = database.select(sql);
    query->next();
    database.check();
    return query->value(0).toString();
}

void readFileFacts(Stats& stats, WatchedDatabase& database)
{
    stats.fileBytes = QFileInfo(stats.path).size();
    stats.hasWal = database.engine().hasWriteAheadLog();
    stats.walBytes = QFileInfo(stats.path + u"-wal"_s).size();
    stats.sqliteVersion = readText(database, u"SELECT sqlite_version()"_s);
    stats.schemaVersion = database.number(u"PRAGMA user_version"_s);
    stats.moved = database.engine().isMoved();
}

Stats readStats(WatchedDatabase& database)
{
    Stats stats;
    stats.path = database.path();
    stats.storeId = database.storeId();
    stats.isFile = database.isFile();
    if (stats.isFile)
        readFileFacts(stats, database);
    else
        stats.schemaVersion = database.number(
            u"SELECT schemaVersion FROM velmio.Pushes WHERE store = :store"_s,
            {{u":store"_s, stats.storeId}});
    for (const TableShape& table : tableShapes()) {
        const QString name = QString::fromLatin1(table.name);
        stats.tableRows.emplace_back(name, database.number(u"SELECT count(*) FROM "_s + name));
    }
    stats.roots = readRoots(database);
    return stats;
}

QJsonObject statsJson(const Stats& stats)
{
    QJsonObject tables;
    for (const auto& [name, rows] : stats.tableRows)
        tables.insert(name, rows);
    QJsonArray roots;
    for (const RootCount& root : stats.roots) {
        roots.append(QJsonObject{
            {u"id"_s, root.id},
            {u"clientPath"_s, root.path},
            {u"folders"_s, root.folders},
            {u"files"_s, root.files},
            {u"bytes"_s, root.bytes}});
    }
    QJsonObject object{
        {u"path"_s, stats.path},
        {u"libraryVersion"_s, QStringLiteral(VELMIO_VERSION)},
        {u"schemaVersion"_s, stats.schemaVersion},
        {u"storeId"_s, stats.storeId},
        {u"tables"_s, tables},
        {u"roots"_s, roots},
    };
    if (stats.isFile) {
        object.insert(u"fileBytes"_s, stats.fileBytes);
        object.insert(u"logBytes"_s, stats.walBytes);
        object.insert(u"writeAheadLog"_s, stats.hasWal);
        object.insert(u"sqliteVersion"_s, stats.sqliteVersion);
        object.insert(u"moved"_s, stats.moved);
    }
    return object;
}

void print(Output& output, const Stats& stats)
{
    FieldList fields;
    fields.add(u"database"_s, stats.path);
    if (stats.isFile) {
        fields.add(u"file"_s, u"%1 bytes"_s.arg(stats.fileBytes));
        fields.add(
            u"WAL"_s,
            stats.hasWal ? u"%1 bytes"_s.arg(stats.walBytes) : u"none: a journal is used"_s);
    }
    fields.add(u"library"_s, QStringLiteral(VELMIO_VERSION));
    if (stats.isFile)
        fields.add(u"SQLite"_s, stats.sqliteVersion);
    fields.add(u"schema"_s, QString::number(stats.schemaVersion));
    fields.add(u"store"_s, stats.storeId + (stats.moved ? u", moved here"_s : QString()));
    output.print(fields);

    Table tables({u"ROWS"_s, u"TABLE"_s});
    tables.alignRight(0);
    for (const auto& [name, rows] : stats.tableRows)
        tables.addRow({QString::number(rows), name});
    output.printText({});
    output.print(tables);

    if (stats.roots.empty())
        return;
    Table roots({u"ROOT"_s, u"FOLDERS"_s, u"FILES"_s, u"BYTES"_s, u"PATH"_s});
    roots.alignRight(0).alignRight(1).alignRight(2).alignRight(3);
    for (const RootCount& root : stats.roots)
        roots.addRow(
            {QString::number(root.id), QString::number(root.folders), QString::number(root.files),
             QString::number(root.bytes), root.path});
    output.printText({});
    output.print(roots);
}

QByteArray toMetrics(const Stats& stats)
{
    Metrics metrics;
    metrics.begin(u"velmio_store_info", u"The store, with its versions as labels.");
    metrics.add(
        {{"store", stats.storeId},
         {"schema", QString::number(stats.schemaVersion)},
         {"library", QStringLiteral(VELMIO_VERSION)},
         {"sqlite", stats.sqliteVersion}},
        1);
    if (stats.isFile) {
        metrics.add(
            u"velmio_store_moved", u"1 if the store comes from another machine or account.",
            stats.moved ? 1 : 0);
        metrics.add(u"velmio_store_bytes", u"Size of the database file.", stats.fileBytes);
        metrics.add(u"velmio_store_wal_bytes", u"Size of the WAL.", stats.walBytes);
    }

    metrics.begin(u"velmio_store_rows", u"Rows of each table.");
    for (const auto& [name, rows] : stats.tableRows)
        metrics.add({{"table", name}}, rows);

    const auto addRoots = [&](QStringView name, QStringView help, long long RootCount::*count) {
        metrics.begin(name, help);
        for (const RootCount& root : stats.roots)
            metrics.add({{"root", QString::number(root.id)}, {"path", root.path}}, root.*count);
    };
    addRoots(
        u"velmio_root_folders", u"Folders of a root folder, itself included.", &RootCount::folders);
    addRoots(u"velmio_root_files", u"Files of a root folder.", &RootCount::files);
    addRoots(u"velmio_root_bytes", u"Size of the files of a root folder.", &RootCount::bytes);
    return metrics.text();
}

void stats(Session& session, bool asMetrics)
{
    if (asMetrics && session.output.json())
        throw CommandError(ExitCode::Usage, u"Give --json or --prometheus, not both."_s);
    const Stats stats = readStats(session.database());
    if (asMetrics)
        session.output.printBytes(toMetrics(stats));
    else if (session.output.json())
        session.output.print(statsJson(stats));
    else
        print(session.output, stats);
}

} // namespace

void addStatsCommand(Command& app, Session& session)
{
    auto* const command =
        app.addSubcommand("stats", "Show the size and the content of the database");
    auto asMetrics = std::make_shared<bool>(false);
    command->addFlag("--prometheus", *asMetrics, "Answer as metrics in Prometheus' text format");
    command->example("velmioctl stats --json")
        ->example("velmioctl stats --prometheus > /var/lib/node_exporter/velmio.prom")
        ->callback([&session, asMetrics] { stats(session, *asMetrics); });
}

} // namespace velmioctl
