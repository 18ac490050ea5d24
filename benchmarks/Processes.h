#pragma once

#include "Job.h"

#include <vector>

namespace velmio::benchmarks {

/// Runs a job in a new process of this program; throws std::runtime_error.
Measurement performInProcess(const Job& job);

/// Runs jobs at the same time. Each job prints a line when it is ready and starts on a line of
/// input.
std::vector<Measurement> performTogether(const std::vector<Job>& jobs);

} // namespace velmio::benchmarks
