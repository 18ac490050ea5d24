// The shortest way from nothing to a stored server: run it with the path of a database.

#include <config/ServerConfigManager.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>

#include <QCoreApplication>
#include <QTextStream>

using namespace Qt::StringLiterals;

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QString path = application.arguments().value(1);
    QTextStream out(stdout);
    try {
        auto factory = sync::database::SqliteDatabaseFactory::open(path);
        sync::config::ServerConfigManager servers(factory);

        sync::config::ServerConfiguration server;
        server.setDavUrl(u"https://dav.example.com/"_s);
        server.setWebServiceUrl(u"https://files.example.com/"_s);
        if (!servers.Add(server))
            return 1;
        out << server.getId() << ' ' << servers.GetServerConfigById(server.getId()).getAlias()
            << Qt::endl;
    } catch (const sync::database::DatabaseError& error) {
        QTextStream(stderr) << error.text() << Qt::endl;
        return 1;
    }
    return 0;
}
