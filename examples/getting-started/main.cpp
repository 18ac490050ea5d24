#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <database/SqliteDatabaseFactory.h>

#include <QFileInfo>

#include <cstdio>

using namespace sync::config;

int main(int, char* argv[])
{
    const QFileInfo program(argv[0]); // any file that exists

    auto factory = sync::database::SqliteDatabaseFactory::open("hello.db");
    auto folders = std::make_shared<FolderConfigManager>(factory, nullptr);
    FileConfigManager files(factory, std::make_shared<Sha256FileHash>(), nullptr, folders);

    FolderConfiguration folder;
    folder.setClientPath(program.absolutePath());
    folder.setParentId(0); // a root folder
    if (!folders->Add(folder))
        return 1;

    FileConfiguration file;
    file.setClientPath(program.absoluteFilePath());
    file.setFolderConfigurationId(folder.getId());
    file.setRootFolderId(folder.getRootId());
    file.setSize(program.size());
    file.setLastModifiedDateTime(program.lastModified().toUTC()); // times are stored as UTC
    if (!files.Add(file))
        return 1;

    for (const FolderConfiguration& each : folders->GetAllRootFolders())
        std::printf("folder %d: %s\n", each.getId(), qPrintable(each.getClientPath()));
    for (const FileConfiguration& each : files.GetAll())
        std::printf("file %d: %s\n", each.getId(), qPrintable(each.getClientPath()));
    return 0;
}
