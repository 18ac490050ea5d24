// Creates a database and stores a server, a root folder and a file in it.
//
//     velmio-example-embed DATABASE FILE

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/ServerConfigManager.h>
#include <config/Sha256FileHash.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QTextStream>

using namespace Qt::StringLiterals;
using namespace sync::config;

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QFileInfo local(application.arguments().value(2));
    try {
        // Creates the database and its tables if the file does not exist.
        auto factory =
            sync::database::SqliteDatabaseFactory::open(application.arguments().value(1));
        ServerConfigManager servers(factory);
        auto folders = std::make_shared<FolderConfigManager>(factory, nullptr);
        FileConfigManager files(factory, std::make_shared<Sha256FileHash>(), nullptr, folders);

        ServerConfiguration server;
        server.setDavUrl(u"https://dav.example.com/"_s);
        server.setWebServiceUrl(u"https://files.example.com/"_s);

        FolderConfiguration root;
        root.setClientPath(local.absolutePath());
        root.setServerPath(u"/Documents"_s);
        root.setParentId(0); // a root folder

        // A write returns true once it is durable on disk.
        if (!servers.Add(server) || !folders->Add(root))
            return 1;

        FileConfiguration file;
        file.setClientPath(local.absoluteFilePath());
        file.setFolderConfigurationId(root.getId());
        file.setRootFolderId(root.getRootId());
        file.setSize(local.size());
        file.setLastModifiedDateTime(local.lastModified().toUTC());
        if (!files.Add(file))
            return 1;

        const FileConfiguration stored =
            files.GetFileConfigurationByClientPath(file.getClientPath());
        QTextStream(stdout) << "server " << server.getId() << ' ' << server.getAlias()
                            << "\nfolder " << root.getId() << ' ' << root.getServerPath()
                            << "\nfile " << stored.getId() << ' ' << stored.getSize() << " bytes\n";
    } catch (const sync::database::DatabaseError& error) {
        QTextStream(stderr) << error.text() << '\n'; // names the file, the cause and a remedy
        return 1;
    }
    return 0;
}
