#pragma once

#include <config/FileConfiguration.h>
#include <config/FolderConfiguration.h>

#include <QString>
#include <QVector>

#include <memory>

namespace velmio::benchmarks {

/// A way of doing what the managers do, on a database file that has the schema already.
///
/// All engines use the same pragmas. `false` is a failure, which ends the benchmark.
class Engine
{
public:
    virtual ~Engine() = default;

    virtual sync::config::FileConfiguration fileByClientPath(const QString& path) = 0;
    virtual QVector<sync::config::FileConfiguration> filesOfFolder(int folderId) = 0; // by name
    virtual QVector<sync::config::FileConfiguration> allFiles() = 0;
    virtual QVector<sync::config::FolderConfiguration> allFolders() = 0;

    /// Registers links and looks for a file of the same path before, as FileConfigManager does.
    virtual bool addFile(sync::config::FileConfiguration& file) = 0;
    virtual bool updateFile(const sync::config::FileConfiguration& file) = 0;

    /// Removes the folder with all folders and files of its tree by three statements.
    virtual bool cleanRootFolder(int id) = 0;
    /// Removes the folder with all below it, deepest first, each with its files.
    virtual bool cleanFolder(int id) = 0;

    virtual bool begin() = 0;
    virtual bool commit() = 0;
};

/// The plain SQLite library with kept statements and direct code: what no layer above it can beat.
std::unique_ptr<Engine> openFloor(const QString& path);
/// The floor without the look for a file of the same path before each addition.
std::unique_ptr<Engine> openUncheckedFloor(const QString& path);
/// Opens a store by the plain SQLite library, reads one file and closes it.
sync::config::FileConfiguration fileOfBareStore(const QString& store, const QString& clientPath);
/// The managers over the embedded engine.
std::unique_ptr<Engine> openEmbedded(const QString& path);
/// The same with a ChangeNotifier on it.
std::unique_ptr<Engine> openWatched(const QString& path);
/// The same, and another thread asks it every millisecond what others have changed.
std::unique_ptr<Engine> openPolled(const QString& path);
/// The managers through queries that show nothing but IQSqlQueryWrapper: every value is a QVariant.
std::unique_ptr<Engine> openVariant(const QString& path);
/// The managers over a factory as a host may write it upon Qt's SQL module, with kept queries.
std::unique_ptr<Engine> openHost(const QString& path);
/// A fresh QSqlQuery for each operation, and document trees for the columns that hold XML.
std::unique_ptr<Engine> openNaive(const QString& path);

} // namespace velmio::benchmarks
