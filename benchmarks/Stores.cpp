#include "Stores.h"

#include "Dataset.h"
#include "Engine.h"

#include <config/FolderConfigManager.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>

#include <QDir>
#include <QFile>

#include <stdexcept>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;
using sync::config::FolderConfiguration;

namespace velmio::benchmarks {

namespace {

void require(bool done)
{
    if (!done)
        throw std::runtime_error("cannot create a store");
}

void addFolders(const QString& path, int folders)
{
    const auto factory = sync::database::SqliteDatabaseFactory::open(path);
    sync::config::FolderConfigManager manager(factory, nullptr);
    require(factory->GetDatabase()->transaction());
    for (int number = 0; number < folders; ++number) {
        FolderConfiguration folder = sampleFolder(number);
        require(manager.Add(folder));
    }
    require(factory->GetDatabase()->commit());
}

void addFiles(const QString& path, int files, int filesPerFolder)
{
    const auto engine = openUncheckedFloor(path);
    require(engine->begin());
    for (int number = 0; number < files; ++number) {
        FileConfiguration file = sampleFile(number, filesPerFolder);
        require(engine->addFile(file));
    }
    require(engine->commit());
}

// Renamed when it is complete, so that an interrupted run leaves no partial store.
QString make(const QString& path, int folders, int files, int filesPerFolder)
{
    if (QFile::exists(path))
        return path;
    const QString unfinished = path + u".unfinished"_s;
    removeStore(unfinished);
    addFolders(unfinished, folders);
    addFiles(unfinished, files, filesPerFolder);
    require(QFile::rename(unfinished, path));
    return path;
}

} // namespace

Stores::Stores(const QString& folder)
    : directory(folder)
{
    require(QDir().mkpath(folder));
}

QString Stores::withFiles(int files)
{
    const QString path = pathOf(u"files-%1"_s.arg(files));
    return make(path, 1 + files / FilesPerFolder, files, FilesPerFolder);
}

QString Stores::withTree(int folders)
{
    constexpr int FilesInEach = 10;
    const QString path = pathOf(u"tree-%1"_s.arg(folders));
    return make(path, folders, folders * FilesInEach, FilesInEach);
}

QString Stores::withFolders(int folders)
{
    return make(pathOf(u"folders-%1"_s.arg(folders)), folders, 0, 1);
}

QString Stores::copyOf(const QString& store, const QString& name)
{
    const QString copy = pathOf(name);
    removeStore(copy);
    require(QFile::copy(store, copy));
    return copy;
}

// The name contains the schema version, because a store of an older version would be migrated
// during the measurement.
QString Stores::pathOf(const QString& name) const
{
    const int version = sync::database::SqliteDatabaseFactory::schemaVersion();
    return u"%1/v%2-%3.db"_s.arg(directory, QString::number(version), name);
}

void removeStore(const QString& path)
{
    for (const auto* const suffix : {"", "-wal", "-shm"})
        QFile::remove(path + QLatin1StringView(suffix));
}

} // namespace velmio::benchmarks
