#pragma once

namespace velmio::benchmarks {

/// Starts a PostgreSQL server of its own and compares the engine of the fleet with hand-written
/// calls of libpq, in rounds: the same rows, statements, login and server. Prints a table, with
/// SQLite beside it. False if a ratio is over its goal.
bool compareFleet(int rounds);

} // namespace velmio::benchmarks
