#pragma once

#include "Job.h"

namespace velmio::benchmarks {

/// Creates a tree on disk if it does not exist: `files` empty files, FilesPerFolder in each folder.
void makeTree(const QString& folder, int files);

/// Run velmioctl as a user does, without hashing. The floor walks the same tree and reads the
/// status of every entry; it adds all files in one transaction (firstScan) or does nothing more
/// (repeatedScan).
Measurement firstScan(const Job& job);
Measurement repeatedScan(const Job& job);

} // namespace velmio::benchmarks
