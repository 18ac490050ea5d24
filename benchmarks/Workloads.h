#pragma once

#include <QString>
#include <QStringList>

#include <vector>

namespace velmio::benchmarks {

class Stores;

/// A workload that compares engines.
struct Workload
{
    /// What a run changes in its store. Nothing: all runs share one store. Some: each engine has
    /// one copy for all its runs. All: each run needs a new copy.
    enum class Writes { Nothing, Some, All };
    enum class Value { OneOperation, WholeRun, Memory };

    QString name;
    QString title;
    QStringList engines;     ///< The floor first.
    QStringList moreEngines; ///< Only run with --all.
    Writes writes;
    Value value;
    int files;      ///< Number of files in the store.
    int operations; ///< Operations that one run times; for Value::WholeRun the number of rows.
    int runs;
    double embeddedGoal; ///< Highest ratio to the floor; 0 for no goal.
    double hostGoal;

    /// Creates the store if it does not exist, and returns its path.
    QString (*store)(Stores& stores, const Workload& workload);
};

/// In the order of the report.
std::vector<Workload> allWorkloads();

} // namespace velmio::benchmarks
