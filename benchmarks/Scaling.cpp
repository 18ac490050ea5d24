// Measurements that do not compare engines:
//
//   sizes      lookup and list in stores of 10,000, 100,000 and 1,000,000 files; size of the stores
//   grow       1,000,000 files added in one transaction: the last tenth relative to the first
//   readers    1 to 4 threads, each looking up 15,000 files
//   writers    two processes with 500 durable additions each, relative to one process
//   durable    20,000 files added in separate transactions

#include "Scaling.h"

#include "Processes.h"
#include "Stores.h"

#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <functional>
#include <map>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace velmio::benchmarks {

namespace {

constexpr int Small = 10'000;
constexpr int Middle = 100'000;
constexpr int Large = 1'000'000;

QString number(double value, int decimals)
{
    return QString::number(value, 'f', decimals);
}

double medianOf(const std::vector<Measurement>& runs, double (*value)(const Measurement&))
{
    std::vector<double> values;
    std::transform(runs.begin(), runs.end(), std::back_inserter(values), value);
    return median(std::move(values));
}

double operationMicroseconds(const Measurement& run)
{
    return run.medianNs / 1000;
}

double perSecond(const Measurement& run)
{
    return double(run.operations) / run.seconds;
}

Curve measureCurve(
    const QString& title, const QString& workload, const QString& engine, int operations,
    Stores& stores, int runs)
{
    std::vector<std::vector<Measurement>> measured(3);
    const int sizes[] = {Small, Middle, Large};
    for (int run = 0; run < runs; ++run) {
        for (std::size_t index = 0; index < std::size(sizes); ++index) {
            const QString path = stores.withFiles(sizes[index]);
            measured[index].push_back(
                performInProcess({workload, engine, path, sizes[index], operations, run}));
        }
    }
    Curve curve{title, {}};
    for (std::size_t index = 0; index < std::size(sizes); ++index)
        curve.points.append({sizes[index], medianOf(measured[index], operationMicroseconds)});
    return curve;
}

Claim compareEnds(const Curve& curve, const QString& title, double goal)
{
    const double first = curve.points.first().second;
    const double last = curve.points.last().second;
    const QString detail = u"%1 and %2 microseconds"_s.arg(number(first, 1), number(last, 1));
    return {title, last / first, true, goal, detail};
}

Measurement grow(Stores& stores, const QString& engine)
{
    const QString path = stores.copyOf(stores.withFolders(1), u"grow"_s);
    const auto run = performInProcess({u"grow"_s, engine, path, 0, Large});
    removeStore(path);
    return run;
}

Claim compareFileSizes(Stores& stores)
{
    const auto bytesPerRow = [&stores](int files) {
        return double(QFileInfo(stores.withFiles(files)).size()) / files;
    };
    const double least = bytesPerRow(Small);
    const double most = bytesPerRow(Large);
    const QString detail = u"%1 and %2 bytes"_s.arg(number(least, 0), number(most, 0));
    return {
        u"file size per row, 1,000,000 files relative to 10,000"_s, most / least, true, 1.05,
        detail};
}

QList<Claim> measureReaders(Stores& stores, int runs)
{
    constexpr int MostThreads = 4;
    const QStringList engines{u"floor"_s, u"embedded"_s};
    std::map<std::pair<QString, int>, std::vector<Measurement>> measured;
    for (int run = 0; run < runs; ++run) {
        for (int threads = 1; threads <= MostThreads; ++threads) {
            for (const QString& engine : engines) {
                const QString path = stores.withFiles(Middle);
                measured[{engine, threads}].push_back(
                    performInProcess({u"readers"_s, engine, path, Middle, 15'000, run, threads}));
            }
        }
    }
    const auto rate = [&measured](const QString& engine, int threads) {
        return medianOf(measured[{engine, threads}], perSecond);
    };
    QList<Claim> claims;
    for (int threads = 2; threads <= MostThreads; ++threads) {
        const int cores = std::min(threads, QThread::idealThreadCount());
        const auto share = [&](const QString& engine) {
            return rate(engine, threads) / rate(engine, 1) / cores;
        };
        const QString detail = u"%1 and %2 lookups per second, on %3 cores; the floor: %4"_s.arg(
            number(rate(u"embedded"_s, 1), 0), number(rate(u"embedded"_s, threads), 0),
            QString::number(cores), number(share(u"floor"_s), 2));
        claims.append(
            {u"%1 reading threads, rate per core relative to one thread"_s.arg(threads),
             share(u"embedded"_s), false, 0.8, detail});
    }
    return claims;
}

QList<Claim> measureWriters(Stores& stores, int runs)
{
    constexpr int Additions = 500;
    std::vector<Measurement> alone;
    std::vector<double> ratios;
    std::vector<double> p99s;
    const QString path = stores.copyOf(stores.withFiles(Middle), u"writers"_s);
    for (int run = 0; run < runs; ++run) {
        Job task{u"writers"_s, u"embedded"_s, path, Middle, Additions};
        std::vector<Job> pair{task, task};
        task.run = 3 * run;
        pair[0].run = 3 * run + 1;
        pair[1].run = 3 * run + 2;
        alone.push_back(performTogether({task}).front());
        const auto together = performTogether(pair);
        ratios.push_back(
            (perSecond(together[0]) + perSecond(together[1])) / perSecond(alone.back()));
        p99s.push_back(std::max(together[0].p99Ns, together[1].p99Ns));
    }
    removeStore(path);
    const double aloneP99 = medianOf(alone, [](const Measurement& one) { return one.p99Ns; });
    return {
        {u"two writing processes, total rate relative to one"_s, median(ratios), false, 0.8,
         u"one process: %1 additions per second"_s.arg(number(medianOf(alone, perSecond), 0))},
        {u"two writing processes, p99 in milliseconds"_s, median(p99s) / 1e6, true, 5,
         u"one process: %1 ms"_s.arg(number(aloneP99 / 1e6, 1))}};
}

Measurement addDurably(Stores& stores, const QString& engine)
{
    const QString path = stores.copyOf(stores.withFiles(Middle), u"durable"_s);
    const auto run = performInProcess({u"add"_s, engine, path, Middle, 20'000});
    removeStore(path);
    return run;
}

Claim measureDurable(Stores& stores)
{
    const auto floor = addDurably(stores, u"floor"_s);
    const auto run = addDurably(stores, u"embedded"_s);
    const QString detail = u"median %1 ms, p99 %2 ms, p99.9 %3 ms; the floor: %4"_s.arg(
        number(run.medianNs / 1e6, 2), number(run.p99Ns / 1e6, 2), number(run.p999Ns / 1e6, 2),
        number(floor.p999Ns / floor.medianNs, 1));
    return {
        u"20,000 durable additions, p99.9 relative to the median"_s, run.p999Ns / run.medianNs,
        true, 5, detail};
}

} // namespace

Scaling measureSizes(Stores& stores, int runs)
{
    Scaling scaling;
    for (const QString& engine : {u"floor"_s, u"embedded"_s}) {
        scaling.curves.append(
            measureCurve(u"lookup, "_s + engine, u"lookup"_s, engine, 10'000, stores, runs));
        scaling.curves.append(
            measureCurve(u"list of 50, "_s + engine, u"list"_s, engine, 1'000, stores, runs));
    }
    scaling.claims = {
        compareEnds(
            scaling.curves.last(), u"list of a folder, 1,000,000 files relative to 10,000"_s, 1.15),
        compareFileSizes(stores)};
    return scaling;
}

Claim measureGrowth(Stores& stores, int runs)
{
    std::vector<double> floorShares;
    std::vector<double> shares;
    std::vector<double> first;
    std::vector<double> last;
    for (int run = 0; run < runs; ++run) {
        const auto floor = grow(stores, u"floor"_s).parts;
        const auto parts = grow(stores, u"embedded"_s).parts;
        floorShares.push_back(floor.front() / floor.back());
        shares.push_back(parts.front() / parts.back());
        first.push_back(Large / 10.0 / parts.front());
        last.push_back(Large / 10.0 / parts.back());
    }
    const QString detail = u"%1 and %2 rows per second; the floor: %3"_s.arg(
        number(median(first), 0), number(median(last), 0), number(median(floorShares), 2));
    return {
        u"bulk add of 1,000,000, rate of the last tenth relative to the first"_s, median(shares),
        false, 0.6, detail};
}

Scaling measureConcurrency(Stores& stores, int runs)
{
    return {
        measureReaders(stores, runs) + measureWriters(stores, runs) +
            QList<Claim>{measureDurable(stores)},
        {}};
}

} // namespace velmio::benchmarks
