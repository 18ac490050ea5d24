// The managers over a database that the host opens, and shares with its own tables.

#include "HostDatabaseFactory.h"

#include <config/ServerConfigManager.h>
#include <interf/IQSqlDatabaseWrapper.h>

#include <QCoreApplication>
#include <QSqlError>
#include <QSqlQuery>
#include <QTextStream>

using namespace Qt::StringLiterals;
using sync::config::ServerConfiguration;

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

    ServerConfiguration kept = serverAt(u"https://dav.example.com"_s);
    out << "added: " << servers.Add(kept) << ", id " << kept.getId() << Qt::endl;

    // Whatever the managers write between these two is the host's to keep or to undo.
    const auto transaction = factory->GetDatabase();
    transaction->transaction();
    ServerConfiguration undone = serverAt(u"https://dav.example.org"_s);
    out << "added: " << servers.Add(undone) << ", servers " << servers.GetAll().size() << Qt::endl;
    transaction->rollback();
    out << "rolled back, servers " << servers.GetAll().size() << Qt::endl;

    // Without its table every operation fails by its return value, and the factory tells why.
    QSqlQuery(database).exec(u"DROP TABLE ServerConfiguration"_s);
    out << "added: " << servers.Add(undone) << ", servers " << servers.GetAll().size() << Qt::endl;
    return 0;
}
