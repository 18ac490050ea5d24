#include <config/ServerConfigManager.h>
#include <database/SqliteDatabaseFactory.h>

#include <QDebug>

int main()
{
    auto factory = sync::database::SqliteDatabaseFactory::open("hello.db"); // throws DatabaseError
    sync::config::ServerConfigManager servers(factory);

    sync::config::ServerConfiguration server;
    server.setDavUrl("https://dav.example.com/");
    server.setWebServiceUrl("https://files.example.com/");
    if (servers.Add(server)) // true: it is on the disk
        qInfo() << server.getId() << servers.GetServerConfigById(server.getId()).getAlias();
}
