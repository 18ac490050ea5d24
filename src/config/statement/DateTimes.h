#pragma once

#include <QDateTime>
#include <QVariant>

namespace sync::config {

/// The time in a column; equal to column.toDateTime(), and quick for the texts of the engine.
QDateTime readDateTime(const QVariant& column);

/// The time in a column, labelled as UTC and not converted: columns hold UTC clock readings.
QDateTime readUtcDateTime(const QVariant& column);

} // namespace sync::config
