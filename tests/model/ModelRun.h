#pragma once

#include "StoreModel.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <vector>

namespace sync::config {
class AuthenticationConfigManager;
class FileConfigManager;
class FolderConfigManager;
class ProductConfigManager;
class ScheduleEntryManager;
class ServerConfigManager;
} // namespace sync::config
namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace sync::test {

/// One operation of a sequence. The number and the present rows determine what it works on.
using Step = std::uint64_t;

/// Carries out steps on its own store, with the managers and with the model.
class ModelRun
{
public:
    /// `engine` is one of addEngineRows().
    explicit ModelRun(const QString& engine);
    ~ModelRun();

    /// Empty, or how the store and the model differ after the step.
    QString perform(Step step);

    /// What the last step was, in words.
    QString lastStep() const { return description; }

private:
    using Operation = void (ModelRun::*)();
    struct WeightedOperation
    {
        Operation operation;
        int weight;
    };
    static const std::vector<WeightedOperation>& operations();

    void open();
    void runOperation();
    void expect(bool holds, const QString& what);
    void compareAll();

    int below(int bound);
    bool chance(int percent) { return below(100) < percent; }
    template <class Value>
    Value oneOf(const std::vector<Value>& values);
    /// An id of the table, sometimes one that does not exist.
    template <class Record>
    int anyId(const Rows<Record>& rows);
    int anyType() { return below(3); }

    QString text();
    QDateTime time();
    QMap<QString, QString> properties();
    QString folderPath();
    QString filePath();
    config::ServerConfiguration anyServer();
    config::AuthenticationConfiguration anySignIn();
    void fill(config::FolderConfiguration& folder);
    config::FileConfiguration anyFile();
    QList<config::FileLink> links();

    void addServer();
    void updateServer();
    void removeServer();
    void findServers();
    void addProduct();
    void updateProduct();
    void removeProduct();
    void findProducts();
    void addSignIn();
    void updateSignIn();
    void updatePassword();
    void removeSignIn();
    void findSignIns();
    void addRootFolder();
    void addFolder();
    void addFolderAndParent();
    void updateFolder();
    void removeFolder();
    void cleanFolder();
    void cleanRootFolder();
    void findFolders();
    void listFolders();
    void countFolders();
    void addFile();
    void updateFile();
    void removeFileAndLinked();
    void removeDependant();
    void removeFilesOfFolder();
    void removeFilesOfRoot();
    void removeGenerated();
    void resetSyncing();
    void findFiles();
    void listFiles();
    void listFilesInOrder();
    void addSchedule();
    void updateSchedule();
    void removeSchedule();
    void beginTransaction();
    void commitTransaction();
    void rollBackTransaction();
    void runInScopes();
    void reopen();

    const QString engine;
    QTemporaryDir directory;
    StoreModel model;
    std::optional<StoreModel> modelBefore; // while a transaction is open
    std::mt19937_64 random;
    QString description;
    QStringList differences;
    int scopeDepth = 0;

    std::shared_ptr<interf::factory::IDatabaseFactory> database;
    std::unique_ptr<config::ServerConfigManager> servers;
    std::unique_ptr<config::ProductConfigManager> products;
    std::unique_ptr<config::AuthenticationConfigManager> signIns;
    std::shared_ptr<config::FolderConfigManager> folders;
    std::unique_ptr<config::FileConfigManager> files;
    std::unique_ptr<config::ScheduleEntryManager> schedules;
};

} // namespace sync::test
