#pragma once

#include <QString>

namespace velmio::benchmarks {

class Stores;

/// Counts the instructions of the hot operations with valgrind, divides them by those of the floor,
/// and compares the ratios with their bounds. Prints a table; true if all bounds hold.
bool checkInstructions(Stores& stores);

} // namespace velmio::benchmarks
