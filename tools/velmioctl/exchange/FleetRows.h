#pragma once

#include <velmioctl/exchange/PagedRows.h>

#include <memory>
#include <vector>

namespace velmioctl {
class WatchedDatabase;
}

namespace velmioctl::exchange {

/// The rows of a store of a fleet, as they were sent. All functions throw CommandError.
class FleetRows : public PagedRows
{
public:
    /// The tables must be in the order of tableShapes(). The database must outlive this.
    FleetRows(WatchedDatabase& database, std::vector<const TableShape*> tables);

    /// Of the file of the store.
    qint64 schemaVersion() const;

private:
    qint64 beginTable() override;
    std::vector<Row> readPage(qint64 first) override;

    WatchedDatabase& database;
};

/// The rows of another source as a push would send them, to compare them with those of a fleet.
class RowsAsSent : public RowSource
{
public:
    /// The source must outlive this.
    explicit RowsAsSent(RowSource& source);

    bool nextTable() override;
    bool nextRow() override;

private:
    RowSource& source;
};

} // namespace velmioctl::exchange
