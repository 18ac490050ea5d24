#pragma once

namespace velmio::benchmarks {

/// The pragmas that the embedded engine uses, for the other engines.
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
