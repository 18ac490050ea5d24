// Scanning a tree of 20,000 folders by velmioctl, as a user runs it, beside a bare walk of the same
// tree:
//
//   walk    every entry of the tree visited and asked for its status
//   first   a scan into a new database, one transaction for each batch
//   second  a scan that finds nothing new

#include <QProcess>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <filesystem>

using namespace Qt::StringLiterals;

namespace {

constexpr int Folders = 20'000;
constexpr int FoldersPerFolder = 100;

// Made once: 200 folders of 99 folders each.
struct Tree
{
    Tree()
    {
        for (int number = 0; number < Folders; number += FoldersPerFolder) {
            const auto parent = root() / ("folder " + std::to_string(number));
            std::filesystem::create_directories(parent);
            for (int child = 1; child < FoldersPerFolder; ++child)
                std::filesystem::create_directory(parent / ("child " + std::to_string(child)));
        }
    }

    std::filesystem::path root() const { return (folder.path() + u"/root"_s).toStdString(); }
    QString database() const { return folder.filePath(u"store.db"_s); }

    QTemporaryDir folder;
};

const Tree& tree()
{
    static const Tree made;
    return made;
}

bool velmioctl(QStringList arguments)
{
    QProcess process;
    process.start(
        QStringLiteral(VELMIOCTL_PATH),
        QStringList{u"--database"_s, tree().database()} + arguments);
    return process.waitForFinished(-1) && process.exitCode() == 0;
}

bool makeDatabase()
{
    for (const auto* const suffix : {"", "-wal", "-shm"})
        QFile::remove(tree().database() + QLatin1StringView(suffix));
    return velmioctl({u"init"_s}) &&
           velmioctl(
               {u"folder"_s, u"add"_s, QString::fromStdString(tree().root().string()),
                u"--server-path"_s, u"/root"_s});
}

void walk(benchmark::State& state)
{
    for (auto _ : state) {
        int folders = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(tree().root()))
            folders += std::filesystem::is_directory(entry.symlink_status()) ? 1 : 0;
        if (folders != Folders)
            state.SkipWithError("a wrong number of folders");
    }
}

void firstScan(benchmark::State& state)
{
    for (auto _ : state) {
        state.PauseTiming();
        const bool made = makeDatabase();
        state.ResumeTiming();
        if (!made || !velmioctl({u"scan"_s}))
            state.SkipWithError("velmioctl failed");
    }
}

void secondScan(benchmark::State& state)
{
    if (!makeDatabase() || !velmioctl({u"scan"_s}))
        state.SkipWithError("velmioctl failed");
    for (auto _ : state) {
        if (!velmioctl({u"scan"_s}))
            state.SkipWithError("velmioctl failed");
    }
}

BENCHMARK(walk)->Name("scan/walk")->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(7);
BENCHMARK(firstScan)
    ->Name("scan/first")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(7);
BENCHMARK(secondScan)
    ->Name("scan/second")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(7);

} // namespace
