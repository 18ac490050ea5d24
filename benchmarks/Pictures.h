#pragma once

#include "Report.h"

#include <QString>

namespace velmio::benchmarks {

/// The ratios to the floor as bars, with the goals; an SVG document.
QString ratioPicture(const Report& report);

/// Cost against the number of files in the store; an SVG document.
QString sizePicture(const Report& report);

} // namespace velmio::benchmarks
