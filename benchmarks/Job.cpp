#include "Job.h"

#include "Dataset.h"
#include "Engine.h"
#include "ScanJobs.h"

#include <QFile>
#include <QHash>

#include <barrier>
#include <chrono>
#include <functional>
#include <random>
#include <stdexcept>
#include <thread>

using namespace Qt::StringLiterals;
using sync::config::FileConfiguration;

namespace velmio::benchmarks {

namespace {

void require(bool holds, const char* what)
{
    if (!holds)
        throw std::runtime_error(what);
}

std::unique_ptr<Engine> openEngine(const QString& engine, const QString& path)
{
    static const QHash<QString, std::unique_ptr<Engine> (*)(const QString&)> engines{
        {u"floor"_s, openFloor},       {u"unchecked"_s, openUncheckedFloor},
        {u"embedded"_s, openEmbedded}, {u"host"_s, openHost},
        {u"variant"_s, openVariant},   {u"naive"_s, openNaive},
        {u"watched"_s, openWatched},   {u"polled"_s, openPolled}};
    const auto open = engines.value(engine);
    require(open, "unknown engine");
    return open(path);
}

// Also opens the connection, which happens at the first statement.
std::unique_ptr<Engine> open(const Job& job)
{
    auto engine = openEngine(job.engine, job.path);
    engine->fileByClientPath({});
    return engine;
}

std::vector<int> randomNumbers(const Job& job, int below, int count)
{
    std::mt19937 random(std::mt19937::result_type(20240601 + job.run));
    std::uniform_int_distribution distribution(0, below - 1);
    std::vector<int> numbers;
    numbers.resize(std::size_t(count));
    for (int& number : numbers)
        number = distribution(random);
    return numbers;
}

std::vector<QString> randomPaths(const Job& job)
{
    std::vector<QString> paths;
    for (const int number : randomNumbers(job, job.files, job.operations))
        paths.push_back(clientPathOfFile(number));
    return paths;
}

void requireSample(Engine& engine, int number)
{
    const FileConfiguration expected = sampleFile(number);
    require(
        sameFile(engine.fileByClientPath(expected.getClientPath()), expected),
        "a file differs from what was stored");
}

Measurement lookup(const Job& job)
{
    const auto engine = open(job);
    const auto paths = randomPaths(job);
    Timer timer(job.operations);
    qint64 found = 0;
    for (const QString& path : paths)
        timer.time([&] { found += engine->fileByClientPath(path).getId() > 0 ? 1 : 0; });
    require(found == job.operations, "a lookup found nothing");
    for (int number = 0; number < 40; ++number)
        requireSample(*engine, number);
    return timer.result();
}

Measurement list(const Job& job)
{
    const auto engine = open(job);
    Timer timer(job.operations);
    qint64 rows = 0;
    for (const int folder : randomNumbers(job, job.files / FilesPerFolder, job.operations))
        timer.time([&] { rows += engine->filesOfFolder(1 + folder).size(); });
    require(rows == qint64(job.operations) * FilesPerFolder, "a list has the wrong length");
    const auto files = engine->filesOfFolder(2);
    for (int index = 0; index < FilesPerFolder; ++index)
        require(
            sameFile(files[index], sampleFile(FilesPerFolder + index)), "a list has wrong content");
    return timer.result();
}

Measurement readAllFiles(const Job& job)
{
    const auto engine = open(job);
    Timer timer(1);
    QVector<FileConfiguration> files;
    timer.time([&] { files = engine->allFiles(); });
    require(files.size() == job.files, "the list has the wrong length");
    for (int number = 0; number < job.files; number += 37)
        require(sameFile(files[number], sampleFile(number)), "the list has wrong content");
    return timer.result();
}

double residentBytes(const char* field)
{
    QFile status(u"/proc/self/status"_s);
    require(status.open(QIODevice::ReadOnly), "/proc/self/status cannot be read");
    const QByteArray text = status.readAll();
    const QByteArray line = text.mid(text.indexOf(field));
    return line.mid(qsizetype(qstrlen(field))).trimmed().split(' ').value(0).toDouble() * 1024;
}

// Measures the peak, because a growing list may briefly hold its rows twice.
Measurement memory(const Job& job)
{
    const auto engine = open(job);
    const double before = residentBytes("VmRSS:");
    const auto files = engine->allFiles();
    Measurement result;
    result.bytes = residentBytes("VmHWM:") - before;
    result.operations = files.size();
    require(files.size() == job.files, "the list has the wrong length");
    return result;
}

std::vector<FileConfiguration> newFiles(int first, int count)
{
    std::vector<FileConfiguration> files;
    for (int number = first; number < first + count; ++number)
        files.push_back(sampleFile(number));
    return files;
}

Measurement add(const Job& job)
{
    const auto engine = open(job);
    const int first = job.files + job.run * job.operations;
    auto files = newFiles(first, job.operations);
    Timer timer(job.operations);
    bool added = true;
    for (FileConfiguration& file : files)
        timer.time([&] { added = engine->addFile(file) && added; });
    require(added, "an addition failed");
    requireSample(*engine, first + job.operations - 1);
    return timer.result();
}

// Times commits of transactions that take 2 ms, each shortly after a commit by another factory of
// the file.
Measurement commitBesideAnother(const Job& job)
{
    const auto engine = open(job);
    const auto other = openEmbedded(job.path);
    const int first = job.files + 2 * job.run * job.operations;
    auto files = newFiles(first, 2 * job.operations);
    Timer timer(job.operations);
    bool committed = true;
    for (std::size_t index = 0; index < files.size(); index += 2) {
        committed = other->addFile(files[index]) && engine->begin() &&
                    engine->addFile(files[index + 1]) && committed;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        timer.time([&] { committed = engine->commit() && committed; });
    }
    require(committed, "a commit failed");
    requireSample(*engine, first + 2 * job.operations - 1);
    return timer.result();
}

Measurement addInOneTransaction(const Job& job)
{
    const auto engine = open(job);
    const int first = job.files + job.run * job.operations;
    auto files = newFiles(first, job.operations);
    Timer timer(1);
    bool added = true;
    timer.time([&] {
        added = engine->begin();
        for (FileConfiguration& file : files)
            added = engine->addFile(file) && added;
        added = engine->commit() && added;
    });
    require(added, "an addition failed");
    for (int number = 0; number < job.operations; number += 997)
        requireSample(*engine, first + number);
    return timer.result();
}

// Times each tenth. The files of a tenth are created before its time starts.
Measurement grow(const Job& job)
{
    constexpr int Tenths = 10;
    const auto engine = open(job);
    Measurement result;
    result.operations = job.operations;
    bool added = engine->begin();
    for (int tenth = 0; tenth < Tenths; ++tenth) {
        auto files = newFiles(tenth * (job.operations / Tenths), job.operations / Tenths);
        Timer timer(1);
        timer.time([&] {
            for (FileConfiguration& file : files)
                added = engine->addFile(file) && added;
        });
        result.parts.push_back(timer.result().seconds);
    }
    require(added && engine->commit(), "an addition failed");
    return result;
}

std::vector<FileConfiguration> changedFiles(const Job& job)
{
    std::vector<FileConfiguration> files;
    for (const int number : randomNumbers(job, job.files, job.operations)) {
        FileConfiguration file = sampleFile(number);
        file.setId(number + 1);
        changeContent(file, number + (job.run + 1) * job.files);
        files.push_back(file);
    }
    return files;
}

void requireStored(Engine& engine, const std::vector<FileConfiguration>& files)
{
    for (std::size_t index = 0; index < files.size(); index += 97)
        require(
            sameFile(engine.fileByClientPath(files[index].getClientPath()), files[index]),
            "a file differs from what was updated");
}

Measurement update(const Job& job)
{
    const auto engine = open(job);
    const auto files = changedFiles(job);
    Timer timer(job.operations);
    bool updated = true;
    for (const FileConfiguration& file : files)
        timer.time([&] { updated = engine->updateFile(file) && updated; });
    require(updated, "an update failed");
    requireStored(*engine, files);
    return timer.result();
}

Measurement updateInOneTransaction(const Job& job)
{
    const auto engine = open(job);
    const auto files = changedFiles(job);
    Timer timer(1);
    bool updated = true;
    timer.time([&] {
        updated = engine->begin();
        for (const FileConfiguration& file : files)
            updated = engine->updateFile(file) && updated;
        updated = engine->commit() && updated;
    });
    require(updated, "an update failed");
    requireStored(*engine, files);
    return timer.result();
}

Measurement readAllFolders(const Job& job)
{
    const auto engine = open(job);
    Timer timer(1);
    QVector<sync::config::FolderConfiguration> folders;
    timer.time([&] { folders = engine->allFolders(); });
    require(folders.size() == job.operations, "the list has the wrong length");
    for (int number = 0; number < folders.size(); number += 37)
        require(sameFolder(folders[number], sampleFolder(number)), "the list has wrong content");
    return timer.result();
}

Measurement readCachedFolders(const Job& job)
{
    const auto engine = open(job);
    const auto expected = engine->allFolders().size();
    Timer timer(job.operations);
    bool complete = true;
    for (int count = 0; count < job.operations; ++count)
        timer.time([&] { complete = engine->allFolders().size() == expected && complete; });
    require(complete, "the list has the wrong length");
    return timer.result();
}

// `clean` removes the whole tree.
template <typename Clean>
Measurement timeClean(const Job& job, Clean clean)
{
    const auto engine = open(job);
    Timer timer(1);
    bool cleaned = false;
    timer.time([&] { cleaned = clean(*engine); });
    require(
        cleaned && engine->allFiles().isEmpty() && engine->allFolders().isEmpty(),
        "the tree was not removed");
    return timer.result();
}

Measurement cleanRootFolder(const Job& job)
{
    return timeClean(job, [](Engine& engine) { return engine.cleanRootFolder(RootFolderId); });
}

Measurement cleanFolder(const Job& job)
{
    return timeClean(job, [](Engine& engine) { return engine.cleanFolder(RootFolderId); });
}

Measurement cleanFolderInOneTransaction(const Job& job)
{
    return timeClean(job, [](Engine& engine) {
        return engine.begin() && engine.cleanFolder(RootFolderId) && engine.commit();
    });
}

// Includes the first read, because opening may defer work.
Measurement openStore(const Job& job)
{
    const QString path = clientPathOfFile(job.files / 2);
    Timer timer(job.operations);
    bool found = true;
    for (int count = 0; count < job.operations; ++count) {
        timer.time([&] {
            const FileConfiguration file =
                job.engine == u"floor" ? fileOfBareStore(job.path, path)
                                       : openEngine(job.engine, job.path)->fileByClientPath(path);
            found = file.getId() > 0 && found;
        });
    }
    require(found, "a lookup found nothing");
    return timer.result();
}

// The threads share the embedded engine. The floor has one connection for each thread.
Measurement readInThreads(const Job& job)
{
    const auto shared = open(job);
    const auto paths = randomPaths(job);
    std::barrier start(job.threads + 1);
    std::atomic<qint64> found = 0;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < job.threads; ++thread) {
        threads.emplace_back([&, thread] {
            const auto own = job.engine == u"floor" ? open(job) : nullptr;
            Engine& engine = own ? *own : *shared;
            qint64 foundHere = engine.fileByClientPath(paths[0]).getId() > 0 ? 0 : -1;
            start.arrive_and_wait();
            // Each thread reads the same files but starts at a different one.
            const std::size_t first = paths.size() / std::size_t(job.threads) * std::size_t(thread);
            for (std::size_t index = 0; index < paths.size(); ++index) {
                const QString& path = paths[(first + index) % paths.size()];
                foundHere += engine.fileByClientPath(path).getId() > 0 ? 1 : 0;
            }
            found += foundHere;
        });
    }
    start.arrive_and_wait();
    Timer timer(1);
    timer.time([&] { threads.clear(); });
    Measurement result = timer.result();
    result.operations = qint64(job.threads) * job.operations;
    require(found == result.operations, "a lookup found nothing");
    return result;
}

// Adds files while another process does the same. The parent starts both with a line of input.
Measurement addBesideAnother(const Job& job)
{
    const auto engine = open(job);
    auto files = newFiles(job.files + job.run * job.operations, job.operations);
    QFile input;
    QFile output;
    require(
        input.open(0, QIODevice::ReadOnly) && output.open(1, QIODevice::WriteOnly) &&
            output.write("ready\n") > 0 && output.flush() && !input.readLine().isEmpty(),
        "the parent process does not answer");
    Timer timer(job.operations);
    bool added = true;
    const auto start = Timer::Clock::now();
    for (FileConfiguration& file : files)
        timer.time([&] { added = engine->addFile(file) && added; });
    require(added, "an addition failed");
    Measurement result = timer.result();
    result.seconds = std::chrono::duration<double>(Timer::Clock::now() - start).count();
    return result;
}

} // namespace

QStringList Job::toArguments() const
{
    return {
        workload,
        engine,
        path,
        QString::number(files),
        QString::number(operations),
        QString::number(run),
        QString::number(threads)};
}

Job Job::fromArguments(const QStringList& arguments)
{
    Job job;
    job.workload = arguments.value(0);
    job.engine = arguments.value(1);
    job.path = arguments.value(2);
    job.files = arguments.value(3).toInt();
    job.operations = arguments.value(4).toInt();
    job.run = arguments.value(5).toInt();
    job.threads = arguments.value(6).toInt();
    return job;
}

Measurement perform(const Job& job)
{
    static const QHash<QString, Measurement (*)(const Job&)> performers{
        {u"lookup"_s, lookup},
        {u"list"_s, list},
        {u"files"_s, readAllFiles},
        {u"memory"_s, memory},
        {u"memory-million"_s, memory},
        {u"add"_s, add},
        {u"commit"_s, commitBesideAnother},
        {u"add-bulk"_s, addInOneTransaction},
        {u"grow"_s, grow},
        {u"update"_s, update},
        {u"update-bulk"_s, updateInOneTransaction},
        {u"folders"_s, readAllFolders},
        {u"folders-cached"_s, readCachedFolders},
        {u"clean-root"_s, cleanRootFolder},
        {u"clean"_s, cleanFolder},
        {u"clean-bulk"_s, cleanFolderInOneTransaction},
        {u"open"_s, openStore},
        {u"readers"_s, readInThreads},
        {u"writers"_s, addBesideAnother},
        {u"scan-first"_s, firstScan},
        {u"scan-again"_s, repeatedScan}};
    const auto performer = performers.value(job.workload);
    require(performer, "unknown workload");
    return performer(job);
}

} // namespace velmio::benchmarks
