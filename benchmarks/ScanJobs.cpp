#include "ScanJobs.h"

#include "Dataset.h"
#include "Engine.h"
#include "Stores.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;

namespace velmio::benchmarks {

namespace {

QString treeOf(const QString& folder)
{
    return folder + u"/tree"_s;
}

QString storeOf(const QString& folder)
{
    return folder + u"/scan.db"_s;
}

void velmioctl(const QString& folder, const QStringList& arguments)
{
    QProcess process;
    process.start(
        QStringLiteral(VELMIOCTL_PATH), QStringList{u"--database"_s, storeOf(folder)} + arguments);
    if (!process.waitForFinished(-1) || process.exitCode() != 0)
        throw std::runtime_error("velmioctl: " + process.readAllStandardError().toStdString());
}

void scan(const QString& folder)
{
    velmioctl(folder, {u"scan"_s, u"--hash"_s, u"never"_s});
}

using FileFound = std::function<void(const QString& path, const struct stat& status)>;

void walk(const QByteArray& path, const FileFound& found)
{
    DIR* const directory = opendir(path.constData());
    if (!directory)
        throw std::runtime_error("cannot read the tree");
    while (const dirent* const entry = readdir(directory)) {
        struct stat status = {};
        const QByteArray name = entry->d_name;
        if (name == "." || name == ".." ||
            fstatat(dirfd(directory), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        const QByteArray child = path + '/' + name;
        if (S_ISDIR(status.st_mode))
            walk(child, found);
        else
            found(QString::fromUtf8(child), status);
    }
    closedir(directory);
}

FileConfiguration recordOf(const QString& path, const struct stat& status)
{
    FileConfiguration file;
    file.setFolderConfigurationId(RootFolderId);
    file.setRootFolderId(RootFolderId);
    file.setName(path.mid(path.lastIndexOf(u'/') + 1));
    file.setClientPath(path);
    file.setServerPath(path);
    file.setSize(status.st_size);
    file.setLastModifiedDateTime(
        QDateTime::fromMSecsSinceEpoch(qint64(status.st_mtime) * 1000, Qt::UTC));
    return file;
}

void requireCount(qint64 count, const Job& job)
{
    if (count != job.files)
        throw std::runtime_error("not all files were found");
}

// Creates a store with only the root folder.
void prepareStore(const Job& job)
{
    removeStore(storeOf(job.path));
    velmioctl(job.path, {u"init"_s});
    velmioctl(job.path, {u"folder"_s, u"add"_s, treeOf(job.path), u"--server-path"_s, u"/tree"_s});
}

void walkAndAdd(const Job& job)
{
    const auto engine = openUncheckedFloor(storeOf(job.path));
    bool added = engine->begin();
    walk(QFile::encodeName(treeOf(job.path)), [&](const QString& path, const struct stat& status) {
        FileConfiguration file = recordOf(path, status);
        added = engine->addFile(file) && added;
    });
    if (!added || !engine->commit())
        throw std::runtime_error("an addition failed");
}

void walkAndRead(const Job& job)
{
    qint64 seen = 0;
    walk(QFile::encodeName(treeOf(job.path)), [&](const QString&, const struct stat&) { ++seen; });
    const auto engine = openFloor(storeOf(job.path));
    requireCount(engine->allFiles().size(), job);
    requireCount(seen, job);
}

} // namespace

void makeTree(const QString& folder, int files)
{
    namespace fs = std::filesystem;
    const fs::path tree = treeOf(folder).toStdString();
    if (fs::exists(tree))
        return;
    fs::path parent;
    for (int number = 0; number < files; ++number) {
        if (number % FilesPerFolder == 0) {
            parent = tree / ("project " + std::to_string(number / FilesPerFolder));
            fs::create_directories(parent);
        }
        std::ofstream(parent / ("report " + std::to_string(number) + ".odt"));
    }
}

Measurement firstScan(const Job& job)
{
    prepareStore(job);
    Timer timer(1);
    timer.time([&] { job.engine == u"floor" ? walkAndAdd(job) : scan(job.path); });
    requireCount(openFloor(storeOf(job.path))->allFiles().size(), job);
    return timer.result();
}

// The first job makes the first scan for all later jobs.
Measurement repeatedScan(const Job& job)
{
    if (job.engine == u"floor" && job.run == 0) {
        prepareStore(job);
        scan(job.path);
    }
    Timer timer(1);
    timer.time([&] { job.engine == u"floor" ? walkAndRead(job) : scan(job.path); });
    requireCount(openFloor(storeOf(job.path))->allFiles().size(), job);
    return timer.result();
}

} // namespace velmio::benchmarks
