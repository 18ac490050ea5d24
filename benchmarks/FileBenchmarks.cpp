// Operations on files, each beside the plain SQLite library in the same run:
//
//   lookup   one file by its client path, at random, of 100,000
//   list     the 50 files of a folder, ordered by name
//   bulk     1,000 files added in one transaction, without the duplicate check at the floor
//   durable  one file added and on the disk

#include "RawStore.h"

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <database/SqliteDatabaseFactory.h>

#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <random>

using namespace Qt::StringLiterals;
using namespace sync::config;
using sync::database::SqliteDatabaseFactory;
using velmio::benchmarks::RawStore;

namespace {

constexpr int Files = 100'000;
constexpr int FilesPerFolder = 50;
constexpr int BulkFiles = 1'000;

QString pathOf(int number)
{
    return u"/home/somebody/Documents/Synchronised folder/project %1/report number %2.odt"_s.arg(
        QString::number(number / FilesPerFolder), QString::number(number));
}

FileConfiguration sampleFile(int number)
{
    const auto time = QDateTime::fromMSecsSinceEpoch(1'700'000'000'000 + number * 977LL, Qt::UTC);
    FileConfiguration file;
    file.setFolderConfigurationId(number / FilesPerFolder);
    file.setRootFolderId(1);
    file.setName(u"report number %1.odt"_s.arg(number));
    file.setClientPath(pathOf(number));
    file.setServerPath(u"/Projects/project %1/report number %2.odt"_s.arg(
        QString::number(number / FilesPerFolder), QString::number(number)));
    file.setCheckSum(QString(64, QChar(u'a' + number % 26)));
    file.setCheckSumMD5(QString(32, QChar(u'a' + number % 26)));
    file.setCreatedDateTime(time);
    file.setLastModifiedDateTime(time.addSecs(60));
    file.setLastOperationTime(time.addSecs(120));
    file.setSize(number * 37LL);
    file.setOwnerId(u"owner-17"_s);
    file.setServerFileId(u"file-%1"_s.arg(number));
    file.setServerFileVersionId(u"version-%1"_s.arg(number));
    return file;
}

// One database for all of it, filled once.
struct Store
{
    Store()
    {
        manager.transaction();
        for (int number = 0; number < Files; ++number) {
            FileConfiguration file = sampleFile(number);
            manager.Add(file);
        }
        manager.commit();
    }

    QTemporaryDir folder;
    std::shared_ptr<SqliteDatabaseFactory> factory =
        SqliteDatabaseFactory::open(folder.filePath(u"store.db"_s));
    FileConfigManager manager{
        factory, nullptr, nullptr, std::make_shared<FolderConfigManager>(factory, nullptr)};
    RawStore raw{factory->path()};
    std::mt19937 random{20240601};
    int nextNumber = Files;
};

Store& store()
{
    static Store filled;
    return filled;
}

int randomFile()
{
    return std::uniform_int_distribution(0, Files - 1)(store().random);
}

void require(benchmark::State& state, bool holds)
{
    if (!holds)
        state.SkipWithError("a wrong answer");
}

void lookupFloor(benchmark::State& state)
{
    store(); // filled outside the time that is taken
    for (auto _ : state)
        benchmark::DoNotOptimize(store().raw.fileByClientPath(pathOf(randomFile())));
    require(state, store().raw.fileByClientPath(pathOf(7)).getSize() == 7 * 37);
}

void lookupManager(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(
            store().manager.GetFileConfigurationByClientPath(pathOf(randomFile())));
    require(state, store().manager.GetFileConfigurationByClientPath(pathOf(7)).getSize() == 7 * 37);
}

void listFloor(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(store().raw.filesOfFolder(randomFile() / FilesPerFolder));
    require(state, store().raw.filesOfFolder(3).size() == FilesPerFolder);
}

void listManager(benchmark::State& state)
{
    const auto list = [](int folder) {
        return store().manager.GetFileConfigurationsByFolderId(folder, sync::interf::OrderByName);
    };
    for (auto _ : state)
        benchmark::DoNotOptimize(list(randomFile() / FilesPerFolder));
    require(state, list(3).size() == FilesPerFolder);
}

void bulkFloor(benchmark::State& state)
{
    bool added = true;
    for (auto _ : state) {
        store().raw.run("BEGIN IMMEDIATE");
        for (int file = 0; file < BulkFiles; ++file)
            added = store().raw.add(sampleFile(store().nextNumber++)) && added;
        store().raw.run("COMMIT");
    }
    require(state, added);
}

void bulkManager(benchmark::State& state)
{
    bool added = true;
    for (auto _ : state) {
        store().manager.transaction();
        for (int number = 0; number < BulkFiles; ++number) {
            FileConfiguration file = sampleFile(store().nextNumber++);
            added = store().manager.Add(file) && added;
        }
        added = store().manager.commit() && added;
    }
    require(state, added);
}

void durableFloor(benchmark::State& state)
{
    bool added = true;
    for (auto _ : state)
        added = store().raw.add(sampleFile(store().nextNumber++)) && added;
    require(state, added);
}

void durableManager(benchmark::State& state)
{
    bool added = true;
    for (auto _ : state) {
        FileConfiguration file = sampleFile(store().nextNumber++);
        added = store().manager.Add(file) && added;
    }
    require(state, added);
}

BENCHMARK(lookupFloor)->Name("file/lookup/floor");
BENCHMARK(lookupManager)->Name("file/lookup/manager");
BENCHMARK(listFloor)->Name("file/list/floor");
BENCHMARK(listManager)->Name("file/list/manager");
BENCHMARK(bulkFloor)->Name("file/bulk/floor")->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(bulkManager)->Name("file/bulk/manager")->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(durableFloor)->Name("file/durable/floor")->UseRealTime()->Iterations(200);
BENCHMARK(durableManager)->Name("file/durable/manager")->UseRealTime()->Iterations(200);

} // namespace
