#include "ScanJobs.h"

#include "Dataset.h"
#include "Engine.h"
#include "Stores.h"

#include <base/system/FolderEntries.h>

#include <QDir>
#include <QProcess>

#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

using namespace Qt::StringLiterals;
using sync::base::FileKind;
using sync::base::FileStatus;
using sync::base::FolderReader;
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

using FileFound = std::function<void(const QString& path, const FileStatus& status)>;

void walk(const std::string& path, const FileFound& found)
{
    FolderReader folder(path, sync::base::Links::Keep);
    if (!folder.isOpen())
        throw std::runtime_error("cannot read the tree");
    while (const FolderReader::Entry* const entry = folder.next()) {
        const auto status = sync::base::statusOf(folder.folder(), entry->name);
        if (!status)
            continue;
        const std::string child = path + '/' + entry->name;
        if (status->kind == FileKind::Folder)
            walk(child, found);
        else
            found(QString::fromStdString(child), *status);
    }
}

FileConfiguration recordOf(const QString& path, const FileStatus& status)
{
    FileConfiguration file;
    file.setFolderConfigurationId(RootFolderId);
    file.setRootFolderId(RootFolderId);
    file.setName(path.mid(path.lastIndexOf(u'/') + 1));
    file.setClientPath(path);
    file.setServerPath(path);
    file.setSize(status.size);
    file.setLastModifiedDateTime(
        QDateTime::fromMSecsSinceEpoch(status.modified.seconds * 1000, Qt::UTC));
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
    walk(treeOf(job.path).toStdString(), [&](const QString& path, const FileStatus& status) {
        FileConfiguration file = recordOf(path, status);
        added = engine->addFile(file) && added;
    });
    if (!added || !engine->commit())
        throw std::runtime_error("an addition failed");
}

void walkAlone(const Job& job)
{
    qint64 seen = 0;
    walk(treeOf(job.path).toStdString(), [&](const QString&, const FileStatus&) { ++seen; });
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
    timer.time([&] { job.engine == u"floor" ? walkAlone(job) : scan(job.path); });
    requireCount(openFloor(storeOf(job.path))->allFiles().size(), job);
    return timer.result();
}

} // namespace velmio::benchmarks
