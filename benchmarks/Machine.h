#pragma once

#include <QList>
#include <QPair>
#include <QString>

namespace velmio::benchmarks {

/// Names and values of what the results depend on, such as processor, disk, compiler and commit.
/// `folder` is the folder of the stores.
QList<QPair<QString, QString>> describeMachine(const QString& folder);

} // namespace velmio::benchmarks
