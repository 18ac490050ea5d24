#pragma once

#include "Measurement.h"
#include "Workloads.h"

#include <QMap>

namespace velmio::benchmarks {

/// What the runs of one workload show.
struct Comparison
{
    Workload workload;
    QMap<QString, std::vector<Measurement>> runs; // engine -> its runs, in order

    /// What the workload is judged by, of one run: nanoseconds or bytes.
    double valueOf(const Measurement& run) const;
    double median(const QString& engine) const;
    double p99Ns(const QString& engine) const;
    /// Rows or operations in a second.
    double perSecond(const QString& engine) const;
    /// The median of the ratios to the floor's run of the same round, or for an engine with fewer
    /// runs the ratio of the medians; 0 where there is none.
    double ratio(const QString& engine) const;
};

/// Runs a workload: in each round every engine once, each in a fresh process, and each round begins
/// with another engine. The naive one takes part in the first round only.
Comparison compare(const Workload& workload, const QStringList& engines, Stores& stores, int runs);

} // namespace velmio::benchmarks
