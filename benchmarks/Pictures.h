#pragma once

#include "Report.h"

#include <QString>

namespace velmio::benchmarks {

/// An SVG document with the ratios to the floor as bars, and their goals.
QString ratioPicture(const Report& report);

/// An SVG document with the cost by number of files in the store.
QString sizePicture(const Report& report);

} // namespace velmio::benchmarks
