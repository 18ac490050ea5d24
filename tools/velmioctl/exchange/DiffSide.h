#pragma once

#include <velmioctl/exchange/ExportRows.h>
#include <velmioctl/exchange/FleetRows.h>
#include <velmioctl/exchange/StoreRows.h>
#include <velmioctl/exchange/StoreSnapshot.h>

#include <optional>

namespace velmioctl::exchange {

/// One of the two that are compared: a database, an export, or a store of a fleet.
class DiffSide
{
public:
    /// Recognises it by its first bytes; throws CommandError.
    explicit DiffSide(const QString& path);

    explicit DiffSide(std::shared_ptr<WatchedDatabase> store);

    RowSource& rows();
    bool isFleet() const { return store != nullptr; }
    bool isDatabase() const { return snapshot.has_value(); }
    /// Only for a database.
    const sync::database::SqliteDatabaseFactory& database() { return snapshot->openDatabase(); }

    /// Throws CommandError when it is the database that could not be read.
    void check(const doctor::ReadFailure& failure) const;

private:
    std::optional<StoreSnapshot> snapshot;
    std::optional<StoreRows> storeRows;
    std::optional<ExportFile> file;
    const std::shared_ptr<WatchedDatabase> store;
    std::optional<FleetRows> fleetRows;
};

} // namespace velmioctl::exchange
