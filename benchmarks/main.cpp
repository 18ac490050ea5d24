// velmio-benchmarks: compares the library with the plain SQLite library.
//
//   velmio-benchmarks [OPTIONS]        runs the standard set: see Workloads.cpp and Scaling.cpp
//     --all                            adds host factories, QtSql, and the long workloads with a
//                                      million files
//     --only NAME[,NAME...]            runs only these workloads; "sizes", "grow" and "concurrency"
//                                      are also names
//     --runs N                         number of runs of each workload by each engine
//     --work DIR                       folder of the stores, which are kept for the next time
//     --report DIR                     folder for results.json, tables.md and the pictures
//     --page FILE                      also writes the tables into a page and the pictures into the
//                                      folder "performance" next to it
//   velmio-benchmarks instructions     counts instructions and compares them with their bounds
//   velmio-benchmarks fleet [ROUNDS]   compares the engine of the fleet with hand-written libpq
//   velmio-benchmarks job ...          runs one job; started by another process of this program

#include "FleetSpeed.h"
#include "Instructions.h"
#include "Machine.h"
#include "Pictures.h"
#include "Processes.h"
#include "Report.h"
#include "Stores.h"

#include <database/SqliteDatabaseFactory.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

using namespace Qt::StringLiterals;
using namespace velmio::benchmarks;

namespace {

struct Options
{
    QStringList only;
    bool all = false;
    int runs = 0; // 0: the default of each workload
    QString work = u"build/benchmarks/stores"_s;
    QString report = u"build/benchmarks"_s;
    QString page;

    bool wants(const QString& name) const
    {
        static const QStringList longWorkloads{u"grow"_s, u"memory-million"_s};
        return only.isEmpty() ? all || !longWorkloads.contains(name) : only.contains(name);
    }
    QStringList enginesOf(const Workload& workload) const
    {
        return all ? workload.engines + workload.moreEngines : workload.engines;
    }
    int runsOr(int standard) const { return runs > 0 ? runs : standard; }
};

Options parse(const QStringList& arguments)
{
    Options options;
    QCommandLineParser parser;
    parser.addOptions(
        {{u"all"_s, QString()},
         {u"only"_s, {}, u"names"_s},
         {u"runs"_s, {}, u"number"_s},
         {u"work"_s, {}, u"folder"_s, options.work},
         {u"report"_s, {}, u"folder"_s, options.report},
         {u"page"_s, {}, u"file"_s}});
    if (!parser.parse(arguments))
        throw std::runtime_error(parser.errorText().toStdString());
    options.all = parser.isSet(u"all"_s);
    options.only = parser.value(u"only"_s).split(u',', Qt::SkipEmptyParts);
    options.runs = parser.value(u"runs"_s).toInt();
    options.work = parser.value(u"work"_s);
    options.report = parser.value(u"report"_s);
    options.page = parser.value(u"page"_s);
    return options;
}

void write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

void writePictures(const Report& report, const QString& folder)
{
    QDir().mkpath(folder);
    if (!report.comparisons.empty())
        write(folder + u"/ratios.svg"_s, ratioPicture(report).toUtf8());
    if (!report.sizes.curves.isEmpty())
        write(folder + u"/sizes.svg"_s, sizePicture(report).toUtf8());
}

void say(const QString& text)
{
    std::fprintf(stderr, "%s\n", qPrintable(text));
}

Report measure(const Options& options, Stores& stores)
{
    Report report;
    report.machine = describeMachine(stores.folder());
    for (const Workload& workload : allWorkloads()) {
        if (!options.wants(workload.name))
            continue;
        say(workload.title);
        report.comparisons.push_back(
            compare(workload, options.enginesOf(workload), stores, options.runsOr(workload.runs)));
    }
    if (options.wants(u"sizes"_s)) {
        say(u"cost by store size"_s);
        report.sizes = measureSizes(stores, options.runsOr(7));
    }
    if (options.wants(u"grow"_s)) {
        say(u"growing store"_s);
        report.growth.append(measureGrowth(stores, options.runsOr(3)));
    }
    if (options.wants(u"concurrency"_s)) {
        say(u"threads and processes"_s);
        report.concurrency = measureConcurrency(stores, options.runsOr(7));
    }
    return report;
}

void runStandardSet(const QStringList& arguments)
{
    const Options options = parse(arguments);
    Stores stores(options.work);
    const Report report = measure(options, stores);
    const QString text = tables(report);
    writePictures(report, options.report);
    write(options.report + u"/results.json"_s, QJsonDocument(toJson(report)).toJson());
    write(options.report + u"/tables.md"_s, text.toUtf8());
    std::printf("%s", qPrintable(text));
    if (!options.page.isEmpty()) {
        updatePage(options.page, text);
        writePictures(report, QFileInfo(options.page).path() + u"/performance"_s);
    }
}

int run(const QStringList& arguments)
{
    const QString command = arguments.value(1);
    if (command == u"job") {
        const Measurement result = perform(Job::fromArguments(arguments.mid(2)));
        std::printf("%s", QJsonDocument(result.toJson()).toJson().constData());
        return 0;
    }
    if (command == u"instructions") {
        Stores stores(Options().work);
        return checkInstructions(stores) ? 0 : 1;
    }
    if (command == u"fleet") {
#ifdef VELMIO_WITH_POSTGRESQL
        return compareFleet(std::max(1, arguments.value(2, u"9"_s).toInt())) ? 0 : 1;
#else
        throw std::runtime_error("built without the fleet: set VELMIO_WITH_POSTGRESQL");
#endif
    }
    runStandardSet(arguments);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    // Applies to all engines: the statistics take one lock for all threads.
    sync::database::SqliteDatabaseFactory::disableMemoryStatistics();
    const QCoreApplication application(argc, argv);
    try {
        return run(QCoreApplication::arguments());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "error: %s\n", error.what());
        return 1;
    }
}
