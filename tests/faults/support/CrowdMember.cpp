#include "CrowdMember.h"

#include "Managers.h"

#include <QRandomGenerator>

#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace sync::test {

namespace {

using Factory = std::shared_ptr<database::SqliteDatabaseFactory>;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds LongestWait{5};

/// What one thread has done.
struct Report
{
    std::vector<long long> microseconds;
    int singleRows = 0;
    int groupedRows = 0;
    QString error;
};

class Member
{
public:
    Member(Factory factory, int process, int thread, Clock::time_point end)
        : managers(std::move(factory))
        , process(process)
        , thread(thread)
        , end(end)
        , chance(static_cast<quint32>(process * CrowdThreads + thread))
    {
    }

    Report write() noexcept
    {
        return until([this] {
            if (chance.bounded(8) == 0)
                storeGroup();
            else
                storeOne();
        });
    }

    Report read() noexcept
    {
        return until([this] {
            readGroups();
            readOne();
            // A client has other work to do between reads.
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        });
    }

private:
    template <typename Act>
    Report until(Act act) noexcept
    {
        try {
            while (Clock::now() < end && report.error.isEmpty())
                act();
        } catch (const std::exception& error) {
            fail(QString::fromUtf8(error.what()));
        }
        return report;
    }

    /// Runs an operation and records its duration.
    template <typename Operation>
    bool timed(Operation operation)
    {
        const auto start = Clock::now();
        const bool succeeded = operation();
        const auto took = Clock::now() - start;
        report.microseconds.push_back(
            std::chrono::duration_cast<std::chrono::microseconds>(took).count());
        if (took > LongestWait)
            report.error = u"an operation took %1 us"_s.arg(report.microseconds.back());
        return succeeded;
    }

    void fail(const QString& doing)
    {
        const auto error = managers.factory->lastFailure();
        report.error = doing + u": "_s + (error ? error->text : u"no error"_s);
    }

    bool store(int folderId, int row)
    {
        return managers.addFile(crowdPath(folderId, row), folderId, 1);
    }

    void storeOne()
    {
        const int folderId = singlesFolderOf(process, thread);
        if (!timed([&] { return store(folderId, report.singleRows); }))
            return fail(u"storing a row"_s);
        ++report.singleRows;
    }

    void storeGroup()
    {
        const int folderId = groupFolderOf(process, thread);
        const bool stored = timed([&] {
            bool succeeded = managers.files.transaction();
            for (int row = 0; succeeded && row < CrowdGroup; ++row)
                succeeded = store(folderId, report.groupedRows + row);
            return succeeded && managers.files.commit();
        });
        if (!stored)
            return fail(u"storing a group"_s);
        report.groupedRows += CrowdGroup;
    }

    void readGroups()
    {
        const int writer = chance.bounded(CrowdThreads);
        const int folderId = groupFolderOf(writer, chance.bounded(CrowdThreads));
        qsizetype rows = 0;
        timed([&] {
            rows =
                managers.files.GetFileConfigurationsByFolderId(folderId, interf::OrderById).size();
            return true;
        });
        if (rows % CrowdGroup != 0)
            report.error = u"part of a transaction is visible"_s;
        if (managers.errors() > 0)
            fail(u"reading a group"_s);
    }

    void readOne()
    {
        timed([this] {
            managers.files.GetFileConfigurationByClientPath(
                crowdPath(singlesFolderOf(0, 0), chance.bounded(1000)));
            return true;
        });
        if (managers.errors() > 0)
            fail(u"reading a row"_s);
    }

    Managers managers;
    const int process;
    const int thread;
    const Clock::time_point end;
    QRandomGenerator chance;
    Report report;
};

void print(const Report& report, int process, int thread)
{
    std::printf("rows %d %d\n", singlesFolderOf(process, thread), report.singleRows);
    std::printf("rows %d %d\n", groupFolderOf(process, thread), report.groupedRows);
    for (const long long took : report.microseconds)
        std::printf("took %lld\n", took);
    if (!report.error.isEmpty())
        std::fprintf(stderr, "%s\n", qUtf8Printable(report.error));
}

} // namespace

int singlesFolderOf(int writer, int thread)
{
    return 2 * (writer * CrowdThreads + thread) + 1;
}

int groupFolderOf(int writer, int thread)
{
    return singlesFolderOf(writer, thread) + 1;
}

QString crowdPath(int folderId, int row)
{
    return u"/crowd/%1/%2"_s.arg(folderId).arg(row);
}

int runCrowdMember(const QStringList& arguments)
{
    const int process = arguments.at(2).toInt();
    const auto end = Clock::now() + std::chrono::milliseconds(arguments.at(3).toInt());
    const auto act = arguments.at(0) == u"writer" ? &Member::write : &Member::read;
    std::vector<Report> reports(CrowdThreads);
    const Factory factory = database::SqliteDatabaseFactory::open(arguments.at(1));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < CrowdThreads; ++thread) {
        threads.emplace_back([&, thread] {
            Member member(factory, process, thread, end);
            reports[static_cast<std::size_t>(thread)] = (member.*act)();
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    bool failed = false;
    for (int thread = 0; thread < CrowdThreads; ++thread) {
        const Report& report = reports[static_cast<std::size_t>(thread)];
        if (arguments.at(0) == u"writer" || !report.error.isEmpty())
            print(report, process, thread);
        failed = failed || !report.error.isEmpty();
    }
    return failed ? 1 : 0;
}

} // namespace sync::test
