#pragma once

#include "Measurement.h"
#include "Workloads.h"

#include <QMap>

namespace velmio::benchmarks {

/// The results of all runs of one workload.
struct Comparison
{
    Workload workload;
    QMap<QString, std::vector<Measurement>> runs; // engine -> its runs, in order

    /// The value of a run that is compared, in nanoseconds or bytes.
    double valueOf(const Measurement& run) const;
    double median(const QString& engine) const;
    double p99Ns(const QString& engine) const;
    /// Rows or operations per second.
    double perSecond(const QString& engine) const;
    /// The median of the ratios to the floor's run of the same round. For an engine with fewer runs
    /// than the floor, the ratio of the medians. 0 when the engine has no runs.
    double ratio(const QString& engine) const;
};

/// Runs a workload in rounds. Each round runs every engine once, in a new process, and the
/// rounds start with different engines. The naive engine only runs in the first round.
Comparison compare(const Workload& workload, const QStringList& engines, Stores& stores, int runs);

} // namespace velmio::benchmarks
