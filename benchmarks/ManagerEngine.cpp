#include "Engine.h"
#include "HostFactory.h"
#include "PlainFactory.h"

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <database/ChangeNotifier.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>

#include <chrono>
#include <thread>

using sync::config::FileConfiguration;
using sync::config::FolderConfiguration;

namespace velmio::benchmarks {

namespace {

/// The managers over a given factory.
class ManagerEngine : public Engine
{
public:
    explicit ManagerEngine(std::shared_ptr<sync::interf::factory::IDatabaseFactory> factory)
        : factory(std::move(factory))
    {
    }

    FileConfiguration fileByClientPath(const QString& path) override
    {
        return files.GetFileConfigurationByClientPath(path);
    }

    QVector<FileConfiguration> filesOfFolder(int folderId) override
    {
        return files.GetFileConfigurationsByFolderId(folderId, sync::interf::OrderByName);
    }

    QVector<FileConfiguration> allFiles() override { return files.GetAll(); }
    QVector<FolderConfiguration> allFolders() override { return folders->GetAll(); }
    bool addFile(FileConfiguration& file) override { return files.Add(file); }
    bool updateFile(const FileConfiguration& file) override { return files.Update(file); }
    bool cleanRootFolder(int id) override { return folders->CleanRootFolder(id); }
    bool cleanFolder(int id) override { return folders->Clean(id); }
    bool begin() override { return factory->GetDatabase()->transaction(); }
    bool commit() override { return factory->GetDatabase()->commit(); }

private:
    const std::shared_ptr<sync::interf::factory::IDatabaseFactory> factory;
    const std::shared_ptr<sync::config::FolderConfigManager> folders =
        std::make_shared<sync::config::FolderConfigManager>(factory, nullptr);
    sync::config::FileConfigManager files{factory, nullptr, nullptr, folders};
};

/// With a ChangeNotifier, which adds a cost to every write.
class WatchedEngine : public ManagerEngine
{
public:
    explicit WatchedEngine(const std::shared_ptr<sync::database::SqliteDatabaseFactory>& factory)
        : ManagerEngine(factory)
        , notifier(factory)
    {
    }

private:
    const sync::database::ChangeNotifier notifier;
};

class PolledEngine : public ManagerEngine
{
public:
    explicit PolledEngine(const std::shared_ptr<sync::database::SqliteDatabaseFactory>& factory)
        : ManagerEngine(factory)
        , notifier(factory)
        , poller([this](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                notifier.poll();
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        })
    {
    }

private:
    sync::database::ChangeNotifier notifier;
    const std::jthread poller;
};

} // namespace

std::unique_ptr<Engine> openManagers(
    std::shared_ptr<sync::interf::factory::IDatabaseFactory> factory)
{
    return std::make_unique<ManagerEngine>(std::move(factory));
}

std::unique_ptr<Engine> openEmbedded(const QString& path)
{
    return openManagers(sync::database::SqliteDatabaseFactory::open(path));
}

std::unique_ptr<Engine> openWatched(const QString& path)
{
    return std::make_unique<WatchedEngine>(sync::database::SqliteDatabaseFactory::open(path));
}

std::unique_ptr<Engine> openPolled(const QString& path)
{
    return std::make_unique<PolledEngine>(sync::database::SqliteDatabaseFactory::open(path));
}

std::unique_ptr<Engine> openVariant(const QString& path)
{
    return openManagers(
        std::make_shared<PlainFactory>(sync::database::SqliteDatabaseFactory::open(path)));
}

std::unique_ptr<Engine> openHost(const QString& path)
{
    return openManagers(HostFactory::open(path));
}

} // namespace velmio::benchmarks
