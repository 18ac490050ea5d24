#pragma once

#include <QString>
#include <QStringList>

#include <vector>

namespace velmio::benchmarks {

class Stores;

/// Something that engines are compared by.
struct Workload
{
    /// What a run changes: nothing, so that all runs share a store; the store, of which each engine
    /// has a copy for all its runs; or so much that each run needs a fresh copy.
    enum class Writes { Nothing, Some, All };
    enum class Value { OneOperation, WholeRun, Memory };

    QString name;
    QString title;
    QStringList engines;     ///< The floor first.
    QStringList moreEngines; ///< Further ones, when there is time.
    Writes writes;
    Value value;
    int files;      ///< That the store holds.
    int operations; ///< That one run times; for Value::WholeRun the rows that it is about.
    int runs;
    double embeddedGoal; ///< At most so many times the floor; 0 for no goal.
    double hostGoal;

    /// Makes the store, where it is missing; its path.
    QString (*store)(Stores& stores, const Workload& workload);
};

/// All of them, in the order of the report.
std::vector<Workload> allWorkloads();

} // namespace velmio::benchmarks
