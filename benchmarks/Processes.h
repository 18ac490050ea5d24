#pragma once

#include "Job.h"

#include <vector>

namespace velmio::benchmarks {

/// Performs a job in a fresh process of this program; throws std::runtime_error.
Measurement performInProcess(const Job& job);

/// Performs jobs that wait for a line on standard input at the same time.
std::vector<Measurement> performTogether(const std::vector<Job>& jobs);

} // namespace velmio::benchmarks
