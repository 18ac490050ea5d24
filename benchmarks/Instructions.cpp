#include "Instructions.h"

#include "Job.h"
#include "Stores.h"

#include <QCoreApplication>
#include <QProcess>
#include <QRegularExpression>

#include <cstdio>
#include <memory>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace velmio::benchmarks {

namespace {

struct Bound
{
    QString workload;
    int files; // in the store
    int operations;
    double maxRatio;
};

// Slightly above the current counts, because compilers of the same kind differ a little: see
// docs/performance.md.
const Bound Bounds[] = {
    {u"lookup"_s, 2'000, 500, 1.125},
    {u"list"_s, 2'000, 40, 1.06},
    {u"add-bulk"_s, 0, 2'000, 1.14},
};

Job jobOf(const Bound& bound, const QString& engine, Stores& stores)
{
    return {
        .workload = bound.workload,
        .engine = engine,
        .path = bound.files > 0
                    ? stores.withFiles(bound.files)
                    : stores.copyOf(stores.withFolders(1), bound.workload + u'-' + engine),
        .files = bound.files,
        .operations = bound.operations};
}

std::unique_ptr<QProcess> startCounting(const Job& job)
{
    auto process = std::make_unique<QProcess>();
    process->start(
        u"valgrind"_s,
        QStringList{
            u"--tool=callgrind"_s, u"--callgrind-out-file=/dev/null"_s, u"--collect-atstart=no"_s,
            u"--toggle-collect=*measured*"_s, QCoreApplication::applicationFilePath(), u"job"_s} +
            job.toArguments());
    return process;
}

double countOf(QProcess& process)
{
    process.waitForFinished(-1);
    const QString output = QString::fromUtf8(process.readAllStandardError());
    static const QRegularExpression collected(u"Collected : (\\d+)"_s);
    const auto match = collected.match(output);
    if (process.exitCode() != 0 || !match.hasMatch())
        throw std::runtime_error("valgrind: " + output.toStdString());
    return match.captured(1).toDouble();
}

} // namespace

bool checkInstructions(Stores& stores)
{
    bool allHold = true;
    for (const Bound& bound : Bounds) {
        const auto floor = startCounting(jobOf(bound, u"floor"_s, stores));
        const auto embedded = startCounting(jobOf(bound, u"embedded"_s, stores));
        const double floorCount = countOf(*floor);
        const double embeddedCount = countOf(*embedded);
        const double ratio = embeddedCount / floorCount;
        const bool holds = ratio <= bound.maxRatio;
        allHold = holds && allHold;
        std::printf(
            "%-10s %10.0f instructions, floor %10.0f, ratio %.3f, bound %.2f%s\n",
            qPrintable(bound.workload), embeddedCount / bound.operations,
            floorCount / bound.operations, ratio, bound.maxRatio, holds ? "" : "  TOO MANY");
    }
    return allHold;
}

} // namespace velmio::benchmarks
