#pragma once

#include "Comparison.h"
#include "Scaling.h"

#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>

namespace velmio::benchmarks {

/// All that a session has measured.
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

/// Puts the tables between the two marks in a page; throws std::runtime_error without them.
void updatePage(const QString& page, const QString& tables);

} // namespace velmio::benchmarks
