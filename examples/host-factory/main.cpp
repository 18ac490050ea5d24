// The managers over a database that the host opens, and shares with its own tables.

#include "HostDatabaseFactory.h"

#include <config/ServerConfigManager.h>
#include <database/ErrorGuard.h>
#include <database/HostTransaction.h>

#include <QCoreApplication>
#include <QSqlError>
#include <QSqlQuery>
#include <QTextStream>

using namespace Qt::StringLiterals;
using sync::config::ServerConfiguration;
using sync::database::RecordKind;
using sync::database::RecordKinds;

namespace {

// The host makes the tables itself; each manager needs those that it names. This is enough here.
const QString ServerTable =
    u"CREATE TABLE ServerConfiguration (id INTEGER PRIMARY KEY AUTOINCREMENT, alias TEXT, "
    "davUrl TEXT, webServiceUrl TEXT, nameValueProperties TEXT, binaryDiffEncoder TEXT)"_s;

ServerConfiguration serverAt(const QString& url)
{
    ServerConfiguration server;
    server.setDavUrl(url);
    server.setWebServiceUrl(url);
    return server;
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QTextStream out(stdout);

    QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s);
    database.setDatabaseName(u":memory:"_s);
    if (!database.open() || !QSqlQuery(database).exec(ServerTable)) {
        out << database.lastError().text() << Qt::endl;
        return 1;
    }
    auto factory = std::make_shared<HostDatabaseFactory>(database);
    sync::config::ServerConfigManager servers(factory);

    // Listens directly; a ChangeNotifier does the same with a signal.
    RecordKinds changes;
    const auto listening = factory->onChange([&](RecordKinds kinds) { changes |= kinds; });

    ServerConfiguration kept = serverAt(u"https://dav.example.com"_s);
    out << "added: " << servers.Add(kept) << ", id " << kept.getId() << Qt::endl;

    // Whatever the managers write while it is open is rolled back unless it is committed.
    ServerConfiguration undone = serverAt(u"https://dav.example.org"_s);
    {
        const sync::database::HostTransaction transaction(*factory);
        out << "added: " << servers.Add(undone) << ", servers " << servers.GetAll().size()
            << Qt::endl;
    }
    out << "rolled back, servers " << servers.GetAll().size() << Qt::endl;

    out << "servers have changed: " << changes.testFlag(RecordKind::Server) << Qt::endl;

    // Without its table every operation fails by its return value, and the factory knows why.
    const sync::database::ErrorGuard guard(*factory);
    QSqlQuery(database).exec(u"DROP TABLE ServerConfiguration"_s);
    out << "added: " << servers.Add(undone) << ", servers " << servers.GetAll().size()
        << ", failed: " << guard.failed() << Qt::endl;
    return 0;
}
