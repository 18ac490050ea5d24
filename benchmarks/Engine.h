#pragma once

#include <config/FileConfiguration.h>
#include <config/FolderConfiguration.h>
#include <interf/IDatabaseFactory.h>

#include <QString>
#include <QVector>

#include <memory>

namespace velmio::benchmarks {

/// An implementation of the managers' operations on a database file that has the current schema.
///
/// All engines use the same pragmas. `false` means failure, which ends the benchmark.
class Engine
{
public:
    virtual ~Engine() = default;

    virtual sync::config::FileConfiguration fileByClientPath(const QString& path) = 0;
    virtual QVector<sync::config::FileConfiguration> filesOfFolder(int folderId) = 0; // by name
    virtual QVector<sync::config::FileConfiguration> allFiles() = 0;
    virtual QVector<sync::config::FolderConfiguration> allFolders() = 0;

    /// First registers links and searches for a file of the same path, like FileConfigManager.
    virtual bool addFile(sync::config::FileConfiguration& file) = 0;
    virtual bool updateFile(const sync::config::FileConfiguration& file) = 0;

    /// Removes a root folder and its tree with three statements.
    virtual bool cleanRootFolder(int id) = 0;
    /// Removes a folder and all folders below it, deepest first, each with its files.
    virtual bool cleanFolder(int id) = 0;

    virtual bool begin() = 0;
    virtual bool commit() = 0;
};

/// The plain SQLite library with prepared statements and no layers: the lower bound for any layer
/// above it.
std::unique_ptr<Engine> openFloor(const QString& path);
/// The floor without the search for a file of the same path before each addition.
std::unique_ptr<Engine> openUncheckedFloor(const QString& path);
/// Opens a store with the plain SQLite library, reads one file and closes the store.
sync::config::FileConfiguration fileOfBareStore(const QString& store, const QString& clientPath);
/// The managers over a factory.
std::unique_ptr<Engine> openManagers(
    std::shared_ptr<sync::interf::factory::IDatabaseFactory> factory);
/// The managers over the embedded engine.
std::unique_ptr<Engine> openEmbedded(const QString& path);
/// The same with a ChangeNotifier.
std::unique_ptr<Engine> openWatched(const QString& path);
/// The same with another thread that polls the notifier every millisecond.
std::unique_ptr<Engine> openPolled(const QString& path);
/// The managers over queries that implement only IQSqlQueryWrapper, so that every value is a
/// QVariant.
std::unique_ptr<Engine> openVariant(const QString& path);
/// The managers over a factory that a host might write with Qt's SQL module and prepared queries.
std::unique_ptr<Engine> openHost(const QString& path);
/// A new QSqlQuery for each operation, and document trees for the XML columns.
std::unique_ptr<Engine> openNaive(const QString& path);

} // namespace velmio::benchmarks
