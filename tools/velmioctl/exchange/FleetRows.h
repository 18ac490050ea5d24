#pragma once

#include <velmioctl/exchange/RowSource.h>

#include <memory>
#include <vector>

namespace velmioctl {
class WatchedDatabase;
}

namespace velmioctl::exchange {

/// The rows of a store of a fleet, as they were sent. All functions throw CommandError.
class FleetRows : public RowSource
{
public:
    /// The tables must be in the order of tableShapes(). The database must outlive this.
    FleetRows(WatchedDatabase& database, std::vector<const TableShape*> tables);

    bool nextTable() override;
    bool nextRow() override;

    /// Of the file of the store.
    qint64 schemaVersion() const;

private:
    void readPage();

    WatchedDatabase& database;
    const std::vector<const TableShape*> tables;
    size_t tablesBegun = 0;
    std::vector<Row> page;
    size_t pageRow = 0;
    bool hasMore = false;
    qint64 nextId = 0;
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
