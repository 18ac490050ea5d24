#pragma once

#include <QList>
#include <QPair>
#include <QString>

namespace velmio::benchmarks {

/// What the figures depend on: processor, memory, disk, compiler, libraries, commit; name and
/// value. `folder` is where the stores lie.
QList<QPair<QString, QString>> describeMachine(const QString& folder);

} // namespace velmio::benchmarks
