#pragma once

#include "Comparison.h"
#include "Scaling.h"

#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>

namespace velmio::benchmarks {

/// All results of one session.
struct Report
{
    QList<QPair<QString, QString>> machine;
    std::vector<Comparison> comparisons;
    Scaling sizes;
    QList<Claim> growth;
    Scaling concurrency;
};

/// The tables, as Markdown that also reads well on a terminal.
QString tables(const Report& report);

QJsonObject toJson(const Report& report);

/// Replaces the tables between the two markers of a page; throws std::runtime_error when the
/// markers are missing.
void updatePage(const QString& page, const QString& tables);

} // namespace velmio::benchmarks
