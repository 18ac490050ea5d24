#pragma once

#include "Measurement.h"

#include <QString>
#include <QStringList>

namespace velmio::benchmarks {

/// One run of one workload by one engine, for a process of its own.
struct Job
{
    QString workload;
    QString engine;
    QString path;       ///< The store, or for a scan the folder that holds tree and stores.
    int files = 0;      ///< That the store holds before.
    int operations = 0; ///< How many are timed, where the workload has a choice.
    int run = 0;        ///< Which one it is on this store: no two do the same.
    int threads = 1;

    QStringList toArguments() const;
    static Job fromArguments(const QStringList& arguments);
};

/// Throws std::runtime_error when an answer is wrong; answers are looked at outside the time that
/// is taken.
Measurement perform(const Job& job);

} // namespace velmio::benchmarks
