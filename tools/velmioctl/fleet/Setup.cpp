#include <database/DatabaseError.h>
#include <fleet/PostgresDatabaseFactory.h>
#include <velmioctl/cli/Output.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/fleet/Fleet.h>
#include <velmioctl/store/FleetConnection.h>
#include <velmioctl/store/FleetStore.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::fleet::PostgresDatabaseFactory;

namespace velmioctl::fleet {

namespace {

// The tables with rows of a store. Those of what the fleet knows of it come last, so that a run
// that was cut leaves no store that reports do not show.
QList<QByteArray> tablesOfStores(Connection& connection)
{
    const Rows names = connection.run(
        "SELECT table_name FROM information_schema.columns JOIN information_schema.tables"
        " USING (table_schema, table_name)"
        " WHERE table_schema = 'velmio' AND column_name = 'store' AND table_type = 'BASE TABLE'"
        " ORDER BY table_name IN ('pushes', 'stores'), table_name");
    QList<QByteArray> tables;
    for (int at = 0; at < names.count(); ++at)
        tables += "velmio." + names.bytes(at, 0);
    return tables;
}

QString nameOf(Connection& connection, const QByteArray& store)
{
    const FleetTransaction transaction(connection, store);
    return requireStore(connection, store);
}

// All rows of a store on one node, so that its statements and transactions need only that one.
void distribute(Connection& connection)
{
    if (connection.run("SELECT 1 FROM pg_extension WHERE extname = 'citus'").count() == 0) {
        throw CommandError(
            ExitCode::Usage, u"The fleet was set up, and is not distributed, because the database "
                             u"has no extension Citus. Create it there, and run the command "
                             u"again."_s);
    }
    QByteArray first;
    for (const QByteArray& table : tablesOfStores(connection)) {
        const Rows known = connection.run(
            "SELECT 1 FROM pg_dist_partition WHERE logicalrelid = $1::regclass", {table});
        if (known.count() == 0) {
            connection.run(
                "SELECT create_distributed_table($1, 'store', colocate_with => $2)",
                {table, first.isEmpty() ? QByteArray("none") : first});
        }
        if (first.isEmpty())
            first = table;
    }
}

} // namespace

QString placeOf(const Session& session, const FleetOptions& options)
{
    if (options.to)
        return checkedFleetPlace(QString::fromStdString(*options.to));
    if (session.isFleet())
        return session.fleetPlace();
    const QString place = qEnvironmentVariable("VELMIO_FLEET");
    if (!place.isEmpty())
        return checkedFleetPlace(place);
    throw CommandError(
        ExitCode::Usage, u"No fleet is named. Give --to postgresql://HOST/DATABASE, or set "
                         u"VELMIO_FLEET to that."_s);
}

void init(Session& session, const FleetOptions& options)
{
    session.requireWriting();
    const QString place = placeOf(session, options);
    try {
        PostgresDatabaseFactory::makeFleet(place);
    } catch (const DatabaseError& error) {
        throw commandError(error);
    }
    Connection connection(place);
    if (options.distributed)
        distribute(connection);
    const qint64 version =
        connection.run("SELECT max(version) FROM velmio.SchemaVersions").number(0, 0);
    if (session.output.json()) {
        session.output.print(QJsonObject{
            {u"fleet"_s, fleetName(place)},
            {u"schemaVersion"_s, version},
            {u"distributed"_s, options.distributed}});
        return;
    }
    session.output.printText(u"The fleet %1 can be used%2."_s.arg(
        quoted(fleetName(place)),
        options.distributed ? u", with its stores spread over the nodes"_s : QString()));
}

void forget(Session& session, const FleetOptions& options)
{
    session.requireWriting();
    const QString place = placeOf(session, options);
    const QByteArray store = QByteArray::fromStdString(options.store);
    Connection connection(place);
    const QString name = nameOf(connection, store);
    session.confirm(
        options.yes, u"Remove the copy of the store %1 (%2) from the fleet %3?"_s.arg(
                         QString::fromUtf8(store), name, quoted(fleetName(place))));
    FleetTransaction transaction(connection, store);
    qint64 rows = 0;
    for (const QByteArray& table : tablesOfStores(connection))
        rows += connection.run("DELETE FROM " + table + " WHERE store = $1", {store}).changed();
    transaction.commit();
    if (session.output.json()) {
        session.output.print(QJsonObject{
            {u"storeId"_s, QString::fromUtf8(store)}, {u"name"_s, name}, {u"rows"_s, rows}});
        return;
    }
    session.output.printText(u"The fleet has forgotten the store %1 (%2): %3. The next push of its "
                             u"machine would bring it back."_s.arg(
                                 QString::fromUtf8(store), name, counted(rows, u"row"_s)));
}

} // namespace velmioctl::fleet
