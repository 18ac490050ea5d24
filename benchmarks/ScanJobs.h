#pragma once

#include "Job.h"

namespace velmio::benchmarks {

/// Makes a tree on the disk: `files` empty files in folders of FilesPerFolder, where it is missing.
void makeTree(const QString& folder, int files);

/// velmioctl as a user runs it, without hashing, beside a bare walk of the same tree with the
/// status of every entry. The floor adds each file in one transaction, or reads all records.
Measurement firstScan(const Job& job);
Measurement repeatedScan(const Job& job);

} // namespace velmio::benchmarks
