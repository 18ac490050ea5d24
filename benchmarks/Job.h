#pragma once

#include "Measurement.h"

#include <QString>
#include <QStringList>

namespace velmio::benchmarks {

/// One run of one workload by one engine, in its own process.
struct Job
{
    QString workload;
    QString engine;
    QString path;       ///< The store, or for a scan the folder of the tree and the store.
    int files = 0;      ///< Number of files in the store before the run.
    int operations = 0; ///< Number of timed operations, if the workload can vary it.
    int run = 0;        ///< Number of the run on this store. Each run uses other records.
    int threads = 1;

    QStringList toArguments() const;
    static Job fromArguments(const QStringList& arguments);
};

/// Throws std::runtime_error when a result is wrong. Results are checked outside the measured time.
Measurement perform(const Job& job);

} // namespace velmio::benchmarks
