// velmio-benchmarks: measures the library beside the plain SQLite library.
//
//   velmio-benchmarks [OPTIONS]        the standard set: see Workloads.cpp and Scaling.cpp
//     --all                            also hosts' writes, QtSql, and what is long with a million
//                                      files
//     --only NAME[,NAME...]            only these workloads; "sizes", "grow" and "concurrency" are
//                                      names, too
//     --runs N                         how often each engine runs each workload
//     --work DIR                       where the stores lie; they are kept for the next time
//     --report DIR                     where results.json, tables.md and the pictures go
//     --page FILE                      also puts the tables into a page and the pictures beside it
//   velmio-benchmarks instructions     counts instructions and compares them with their bounds
//   velmio-benchmarks job ...          one run, in the process that another one has started

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

#include <cstdio>
#include <stdexcept>

using namespace Qt::StringLiterals;
using namespace velmio::benchmarks;

namespace {

struct Options
{
    QStringList only;
    bool all = false;
    int runs = 0; // each workload's own
    QString work = u"build/benchmarks/stores"_s;
    QString report = u"build/benchmarks"_s;
    QString page;

    bool wants(const QString& name) const
    {
        static const QStringList longOnes{u"grow"_s, u"memory-million"_s};
        return only.isEmpty() ? all || !longOnes.contains(name) : only.contains(name);
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
        say(u"cost against size"_s);
        report.sizes = measureSizes(stores, options.runsOr(7));
    }
    if (options.wants(u"grow"_s)) {
        say(u"a store that grows"_s);
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
    runStandardSet(arguments);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    // For all engines alike: the count is one lock for all threads.
    sync::database::SqliteDatabaseFactory::disableMemoryStatistics();
    const QCoreApplication application(argc, argv);
    try {
        return run(QCoreApplication::arguments());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "error: %s\n", error.what());
        return 1;
    }
}
