#pragma once

#include <QList>
#include <QMap>
#include <QPair>
#include <QString>

namespace velmio::benchmarks {

class Stores;

/// A property that the library claims, with what was measured.
struct Claim
{
    QString title;
    double value;
    bool atMost; ///< Whether the goal is an upper bound.
    double goal;
    QString detail;

    bool holds() const { return atMost ? value <= goal : value >= goal; }
};

/// Microseconds of an operation against the number of files in the store.
struct Curve
{
    QString title;
    QList<QPair<int, double>> points;
};

struct Scaling
{
    QList<Claim> claims;
    QList<Curve> curves;
};

/// How cost and size grow from 10,000 to 1,000,000 files.
Scaling measureSizes(Stores& stores, int runs);

/// 1,000,000 files added in one transaction.
Claim measureGrowth(Stores& stores, int runs);

/// One to four threads that read, two processes that write, and 20,000 durable additions.
Scaling measureConcurrency(Stores& stores, int runs);

} // namespace velmio::benchmarks
