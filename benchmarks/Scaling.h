#pragma once

#include <QList>
#include <QMap>
#include <QPair>
#include <QString>

namespace velmio::benchmarks {

class Stores;

/// A claimed property of the library, with its measured value.
struct Claim
{
    QString title;
    double value;
    bool atMost; ///< True if the goal is an upper bound.
    double goal;
    QString detail;

    bool holds() const { return atMost ? value <= goal : value >= goal; }
};

/// Microseconds of an operation by number of files in the store.
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

/// Cost and size in stores of 10,000 to 1,000,000 files.
Scaling measureSizes(Stores& stores, int runs);

/// Adds 1,000,000 files in one transaction.
Claim measureGrowth(Stores& stores, int runs);

/// One to four reading threads, two writing processes, and 20,000 durable additions.
Scaling measureConcurrency(Stores& stores, int runs);

} // namespace velmio::benchmarks
