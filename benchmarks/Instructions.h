#pragma once

#include <QString>

namespace velmio::benchmarks {

class Stores;

/// Counts the instructions of the hot operations by valgrind, beside the floor's, and compares the
/// ratios with their bounds. Prints a table; true when all bounds hold.
bool checkInstructions(Stores& stores);

} // namespace velmio::benchmarks
