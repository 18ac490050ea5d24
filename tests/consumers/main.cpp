// Stores and reads a server, a folder and a file, using every library.

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/ServerConfigManager.h>
#include <config/Sha256FileHash.h>
#include <core/PathHelpers.h>
#include <database/SqliteDatabaseFactory.h>
#include <unistd.h>

#include <QTemporaryDir>
#include <QTextStream>

using namespace Qt::StringLiterals;

int main()
{
    const QTemporaryDir directory;
    auto factory =
        sync::database::SqliteDatabaseFactory::open(directory.filePath(u"configuration.db"_s));
    sync::config::ServerConfigManager servers(factory);
    auto folders = std::make_shared<sync::config::FolderConfigManager>(factory, nullptr);
    sync::config::FileConfigManager files(
        factory, std::make_shared<sync::config::Sha256FileHash>(), nullptr, folders);

    sync::config::ServerConfiguration server;
    server.setWebServiceUrl(u"https://files.example.com/"_s);
    sync::config::FolderConfiguration root;
    root.setClientPath(u"/home/me"_s);
    root.setParentId(0);
    const bool added = servers.Add(server) && folders->Add(root);
    sync::config::FileConfiguration file;
    file.setClientPath(sync::core::RelativeToAbsolutePath(u"letter"_s, u"/home/me"_s, false));
    file.setFolderConfigurationId(root.getId());
    const bool stored = added && files.Add(file) && ::access("/", F_OK) == 0;

    QTextStream(stdout) << (stored ? "stored " : "failed ")
                        << servers.GetServerConfigById(server.getId()).getAlias() << ' '
                        << files.GetFileConfigurationById(file.getId()).getClientPath() << '\n';
    return stored ? 0 : 1;
}
