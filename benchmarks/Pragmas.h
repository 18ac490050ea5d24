#pragma once

namespace velmio::benchmarks {

/// The settings of the embedded engine's connections, for the others. The checkpoint comes after as
/// many pages as the embedded engine's.
constexpr const char* Pragmas[] = {
    "PRAGMA journal_mode = WAL",
    "PRAGMA synchronous = FULL",
    "PRAGMA fullfsync = ON",
    "PRAGMA temp_store = MEMORY",
    "PRAGMA cache_size = -16384",
    "PRAGMA mmap_size = 0",
    "PRAGMA wal_autocheckpoint = 12288",
    "PRAGMA journal_size_limit = 67108864",
};

} // namespace velmio::benchmarks
