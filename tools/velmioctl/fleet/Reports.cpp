#include <velmioctl/cli/Metrics.h>
#include <velmioctl/cli/Output.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/fleet/Fleet.h>
#include <velmioctl/store/FleetConnection.h>
#include <velmioctl/store/FleetStore.h>
#include <velmioctl/store/Session.h>

#include <vector>

using namespace Qt::StringLiterals;

namespace velmioctl::fleet {

namespace {

enum class Kind { Text, Number, Flag };

/// A column of an answer.
struct Field
{
    const char* key;     ///< In JSON.
    const char* heading; ///< For a person.
    Kind kind = Kind::Text;
    bool isListed = true; ///< Shown in a table.
};

/// A list in a report.
struct Section
{
    const char* key;
    const char16_t* title;
    QByteArray sql; ///< With the limit as $1.
    std::vector<Field> fields;
};

// As the other times of the tool in JSON.
QByteArray timeText(const QByteArray& column)
{
    return "to_char(" + column + " AT TIME ZONE 'UTC', 'YYYY-MM-DD\"T\"HH24:MI:SS\"Z\"')";
}

QJsonValue jsonOf(const Rows& rows, int row, int column, Kind kind)
{
    if (rows.isNull(row, column))
        return QJsonValue::Null;
    if (kind == Kind::Number)
        return rows.number(row, column);
    return kind == Kind::Flag ? QJsonValue(rows.flag(row, column))
                              : QJsonValue(rows.text(row, column));
}

QJsonArray rowsJson(const Rows& rows, const std::vector<Field>& fields)
{
    QJsonArray array;
    for (int row = 0; row < rows.count(); ++row) {
        QJsonObject object;
        for (size_t at = 0; at < fields.size(); ++at) {
            object.insert(
                QLatin1StringView(fields[at].key), jsonOf(rows, row, int(at), fields[at].kind));
        }
        array.append(object);
    }
    return array;
}

QString textOf(const Rows& rows, int row, int column, const Field& field)
{
    if (field.kind == Kind::Flag)
        return rows.flag(row, column) ? u"yes"_s : u"no"_s;
    return rows.text(row, column);
}

Table toTable(const Rows& rows, const std::vector<Field>& fields)
{
    QStringList headings;
    for (const Field& field : fields) {
        if (field.isListed)
            headings += QLatin1StringView(field.heading);
    }
    Table table(headings);
    int shown = 0;
    for (const Field& field : fields) {
        if (field.isListed && field.kind == Kind::Number)
            table.alignRight(shown);
        shown += field.isListed ? 1 : 0;
    }
    for (int row = 0; row < rows.count(); ++row) {
        QStringList cells;
        for (size_t at = 0; at < fields.size(); ++at) {
            if (fields[at].isListed)
                cells += textOf(rows, row, int(at), fields[at]);
        }
        table.addRow(cells);
    }
    return table;
}

std::vector<Section> sections()
{
    const Field store{"storeId", "STORE"};
    const Field name{"name", "NAME"};
    const Field lastPush{"lastPush", "LAST PUSH"};
    const Field files{"files", "FILES", Kind::Number};
    const Field bytes{"bytes", "BYTES", Kind::Number};
    const Field stores{"stores", "STORES", Kind::Number};
    return {
        {"outOfSync",
         u"Out of sync",
         "SELECT outOfSync, " + timeText("outOfSyncSince") + ", " + timeText("lastPush") +
             ", store, name FROM velmio.Pushes WHERE outOfSync > 0"
             " ORDER BY outOfSync DESC, store LIMIT $1",
         {{"outOfSync", "OUT OF SYNC", Kind::Number}, {"since", "SINCE"}, lastPush, store, name}},
        {"stale",
         u"Stale: no push for days",
         "SELECT " + timeText("lastPush") +
             ", store, name FROM velmio.Pushes WHERE lastPush < now() - interval '1 day' * $2"
             " ORDER BY lastPush, store LIMIT $1",
         {lastPush, store, name}},
        {"findings",
         u"Found by doctor",
         "SELECT severity, checkId, count(*), CAST(sum(rows) AS BIGINT), max(title)"
         " FROM velmio.Findings GROUP BY severity, checkId"
         " ORDER BY severity = 'note', severity, count(*) DESC, checkId LIMIT $1",
         {{"severity", "SEVERITY"},
          {"check", "CHECK"},
          stores,
          {"rows", "ROWS", Kind::Number},
          {"title", "FOUND"}}},
        {"versions",
         u"Versions",
         "SELECT count(*), libraryVersion, schemaVersion FROM velmio.Pushes"
         " GROUP BY libraryVersion, schemaVersion ORDER BY count(*) DESC, libraryVersion LIMIT $1",
         {stores, {"libraryVersion", "LIBRARY"}, {"schemaVersion", "SCHEMA", Kind::Number}}},
        {"servers",
         u"Servers",
         "SELECT count(DISTINCT store), webServiceUrl FROM velmio.ServerConfiguration"
         " GROUP BY webServiceUrl ORDER BY 1 DESC, 2 LIMIT $1",
         {stores, {"webServiceUrl", "WEB SERVICE URL"}}},
        {"biggest",
         u"Biggest",
         "SELECT files, bytes, store, name FROM velmio.Pushes ORDER BY bytes DESC, store LIMIT $1",
         {files, bytes, store, name}},
        {"growing",
         u"Fastest growing in 30 days",
         "SELECT newFiles, newBytes, CAST(sinceDay AS TEXT), store, name FROM velmio.v1_growth"
         " WHERE newBytes > 0 ORDER BY newBytes DESC, store LIMIT $1",
         {{"newFiles", "NEW FILES", Kind::Number},
          {"newBytes", "NEW BYTES", Kind::Number},
          {"since", "SINCE"},
          store,
          name}},
    };
}

Rows rowsOf(const Section& section, Connection& connection, const FleetOptions& options)
{
    Connection::Values values{QByteArray::number(options.limit)};
    if (section.sql.contains("$2"))
        values += QByteArray::number(options.staleDays);
    return connection.run(section.sql, values);
}

// Every field is a number.
const std::vector<std::pair<const char*, const char16_t*>> Totals{
    {"stores", u"Stores in the fleet."},
    {"outOfSyncStores", u"Stores with files or folders that are out of sync."},
    {"staleStores", u"Stores without a push for days."},
    {"errorStores", u"Stores in which doctor found errors."},
    {"files", u"Files in all stores."},
    {"bytes", u"Size of the files in all stores."},
    {"outOfSync", u"Files and folders that are out of sync."}};

Rows totals(Connection& connection, const FleetOptions& options)
{
    return connection.run(
        // Citus joins two aggregates, and refuses one among the columns of the other.
        "SELECT stores, outOfSyncStores, staleStores, errorStores, files, bytes, outOfSync FROM"
        " (SELECT count(*) AS stores,"
        " count(*) FILTER (WHERE outOfSync > 0) AS outOfSyncStores,"
        " count(*) FILTER (WHERE lastPush < now() - interval '1 day' * $1) AS staleStores,"
        " coalesce(CAST(sum(files) AS BIGINT), 0) AS files,"
        " coalesce(CAST(sum(bytes) AS BIGINT), 0) AS bytes,"
        " coalesce(CAST(sum(outOfSync) AS BIGINT), 0) AS outOfSync FROM velmio.Pushes) AS pushed,"
        " (SELECT count(DISTINCT store) AS errorStores FROM velmio.Findings"
        " WHERE severity = 'error') AS found",
        {QByteArray::number(options.staleDays)});
}

QByteArray metricsOf(Connection& connection, const FleetOptions& options)
{
    Metrics metrics;
    static const QRegularExpression capital(u"([A-Z])"_s);
    const Rows total = totals(connection, options);
    for (size_t at = 0; at < Totals.size(); ++at) {
        const QString name = QString::fromLatin1(Totals[at].first).replace(capital, u"_\\1"_s);
        metrics.add(
            u"velmio_fleet_"_s + name.toLower(), QStringView(Totals[at].second),
            total.number(0, int(at)));
    }
    metrics.begin(u"velmio_fleet_version_stores", u"Stores of each version.");
    const Rows versions = connection.run(
        "SELECT libraryVersion, schemaVersion, count(*) FROM velmio.Pushes GROUP BY 1, 2"
        " ORDER BY 1, 2");
    for (int row = 0; row < versions.count(); ++row) {
        metrics.add(
            {{"library", versions.text(row, 0)}, {"schema", versions.text(row, 1)}},
            versions.number(row, 2));
    }
    metrics.begin(
        u"velmio_fleet_finding_stores", u"Stores in which a check of doctor found something.");
    const Rows findings = connection.run(
        "SELECT checkId, severity, count(*) FROM velmio.Findings GROUP BY 1, 2 ORDER BY 1, 2");
    for (int row = 0; row < findings.count(); ++row) {
        metrics.add(
            {{"check", findings.text(row, 0)}, {"severity", findings.text(row, 1)}},
            findings.number(row, 2));
    }
    return metrics.text();
}

void printReport(Output& output, Connection& connection, const FleetOptions& options)
{
    const Rows total = totals(connection, options);
    output.printText(u"%1: %2 out of sync, %3 stale, %4 with errors; %5, %6"_s.arg(
        counted(total.number(0, 0), u"store"_s), total.text(0, 1), total.text(0, 2),
        total.text(0, 3), counted(total.number(0, 4), u"file"_s),
        counted(total.number(0, 5), u"byte"_s)));
    for (const Section& section : sections()) {
        const Table table = toTable(rowsOf(section, connection, options), section.fields);
        if (table.isEmpty())
            continue;
        output.printText({});
        output.printText(QString::fromUtf16(section.title) + u':');
        output.print(table);
    }
}

QJsonObject jsonReport(Connection& connection, const FleetOptions& options)
{
    const Rows total = totals(connection, options);
    QJsonObject totalObject;
    for (size_t at = 0; at < Totals.size(); ++at)
        totalObject.insert(QLatin1StringView(Totals[at].first), total.number(0, int(at)));
    QJsonObject object{{u"total"_s, totalObject}};
    for (const Section& section : sections()) {
        object.insert(
            QLatin1StringView(section.key),
            rowsJson(rowsOf(section, connection, options), section.fields));
    }
    return object;
}

const std::vector<Field> StoreFields{
    {"storeId", "STORE"},
    {"name", "NAME"},
    {"lastPush", "LAST PUSH"},
    {"libraryVersion", "VERSION"},
    {"schemaVersion", "SCHEMA", Kind::Number, false},
    {"redacted", "REDACTED", Kind::Flag, false},
    {"files", "FILES", Kind::Number},
    {"bytes", "BYTES", Kind::Number},
    {"folders", "FOLDERS", Kind::Number, false},
    {"rootFolders", "ROOT FOLDERS", Kind::Number, false},
    {"outOfSync", "OUT OF SYNC", Kind::Number},
    {"outOfSyncSince", "OUT OF SYNC SINCE", Kind::Text, false},
    {"lastSyncTime", "LAST SYNC TIME", Kind::Text, false},
    {"firstPush", "FIRST PUSH", Kind::Text, false},
    {"pushes", "PUSHES", Kind::Number, false}};

QByteArray selectStores()
{
    return "SELECT store, name, " + timeText("lastPush") +
           ", libraryVersion, schemaVersion, redacted, files, bytes, folders, rootFolders,"
           " outOfSync, " +
           timeText("outOfSyncSince") + ", lastSyncTime, " + timeText("firstPush") +
           ", pushes FROM velmio.Pushes";
}

} // namespace

void list(Session& session, const FleetOptions& options)
{
    Connection connection(placeOf(session, options));
    const Rows rows = connection.run(selectStores() + " ORDER BY name, store");
    session.output.printList(
        rowsJson(rows, StoreFields), toTable(rows, StoreFields),
        u"The fleet has no stores that you may see. 'velmioctl fleet push' on a client's machine "
        u"adds one."_s);
}

void report(Session& session, const FleetOptions& options)
{
    if (options.prometheus && session.output.json())
        throw CommandError(ExitCode::Usage, u"Give --json or --prometheus, not both."_s);
    Connection connection(placeOf(session, options));
    const FleetTransaction moment(connection);
    if (options.prometheus)
        session.output.printBytes(metricsOf(connection, options));
    else if (session.output.json())
        session.output.print(jsonReport(connection, options));
    else
        printReport(session.output, connection, options);
}

void show(Session& session, const FleetOptions& options)
{
    Connection connection(placeOf(session, options));
    const QByteArray store = QByteArray::fromStdString(options.store);
    const FleetTransaction transaction(connection, store);
    requireStore(connection, store);
    const Rows known = connection.run(selectStores() + " WHERE store = $1", {store});
    const std::vector<Field> findingFields{
        {"severity", "SEVERITY"},
        {"check", "CHECK"},
        {"rows", "ROWS", Kind::Number},
        {"title", "FOUND"}};
    const Rows findings = connection.run(
        "SELECT severity, checkId, rows, title FROM velmio.Findings WHERE store = $1"
        " ORDER BY severity = 'note', severity, checkId",
        {store});
    if (session.output.json()) {
        QJsonObject object = rowsJson(known, StoreFields).at(0).toObject();
        object.insert(u"findings"_s, rowsJson(findings, findingFields));
        session.output.print(object);
        return;
    }
    FieldList fields;
    for (size_t at = 0; at < StoreFields.size(); ++at) {
        if (!known.isNull(0, int(at)))
            fields.add(
                QString::fromLatin1(StoreFields[at].heading).toLower(),
                textOf(known, 0, int(at), StoreFields[at]));
    }
    session.output.print(fields);
    if (findings.count() == 0)
        return;
    session.output.printText({});
    session.output.print(toTable(findings, findingFields));
}

} // namespace velmioctl::fleet
