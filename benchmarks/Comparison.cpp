#include "Comparison.h"

#include "Processes.h"
#include "Stores.h"

using namespace Qt::StringLiterals;

namespace velmio::benchmarks {

namespace {

// The naive engine takes up to ten times as long as the others, and one run is enough to show that.
bool isSkipped(const QString& engine, int run)
{
    return engine == u"naive"_s && run > 0;
}

QString storeFor(
    const Workload& workload, const QString& engine, int run, const QString& original,
    Stores& stores)
{
    if (workload.writes == Workload::Writes::Nothing)
        return original;
    const QString copy = workload.name + u'-' + engine;
    return workload.writes == Workload::Writes::All || run == 0 ? stores.copyOf(original, copy)
                                                                : stores.pathOf(copy);
}

} // namespace

double Comparison::valueOf(const Measurement& run) const
{
    switch (workload.value) {
    case Workload::Value::OneOperation:
        return run.medianNs;
    case Workload::Value::WholeRun:
        return run.seconds * 1e9;
    case Workload::Value::Memory:
        return run.bytes;
    }
    return 0;
}

double Comparison::median(const QString& engine) const
{
    std::vector<double> values;
    for (const Measurement& run : runs[engine])
        values.push_back(valueOf(run));
    return benchmarks::median(std::move(values));
}

double Comparison::p99Ns(const QString& engine) const
{
    std::vector<double> values;
    for (const Measurement& run : runs[engine])
        values.push_back(run.p99Ns);
    return benchmarks::median(std::move(values));
}

double Comparison::perSecond(const QString& engine) const
{
    std::vector<double> values;
    for (const Measurement& run : runs[engine]) {
        const double count = workload.value == Workload::Value::WholeRun ? workload.operations
                                                                         : double(run.operations);
        values.push_back(run.seconds > 0 ? count / run.seconds : 0);
    }
    return benchmarks::median(std::move(values));
}

double Comparison::ratio(const QString& engine) const
{
    const auto floor = runs[u"floor"_s];
    const auto others = runs[engine];
    if (others.size() < floor.size())
        return others.empty() ? 0 : median(engine) / median(u"floor"_s);
    std::vector<double> ratios;
    for (std::size_t round = 0; round < floor.size(); ++round)
        ratios.push_back(valueOf(others[round]) / valueOf(floor[round]));
    return benchmarks::median(std::move(ratios));
}

Comparison compare(const Workload& workload, const QStringList& engines, Stores& stores, int runs)
{
    Comparison comparison{workload, {}};
    const QString original = workload.store(stores, workload);
    for (int run = 0; run < runs; ++run) {
        for (qsizetype place = 0; place < engines.size(); ++place) {
            const QString& engine = engines[(run + place) % engines.size()];
            if (isSkipped(engine, run))
                continue;
            comparison.runs[engine].push_back(performInProcess(
                {.workload = workload.name,
                 .engine = engine,
                 .path = storeFor(workload, engine, run, original, stores),
                 .files = workload.files,
                 .operations = workload.operations,
                 .run = run}));
        }
    }
    for (const QString& engine : engines)
        removeStore(stores.pathOf(workload.name + u'-' + engine));
    return comparison;
}

} // namespace velmio::benchmarks
