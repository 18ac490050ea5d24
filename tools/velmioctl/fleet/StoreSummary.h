#pragma once

#include <velmioctl/exchange/Value.h>
#include <velmioctl/store/Columns.h>

#include <QByteArray>

namespace velmioctl::fleet {

/// What reports say of a store, so that they need not read its rows.
struct StoreSummary
{
    qint64 files = 0;
    qint64 bytes = 0;
    qint64 folders = 0;
    qint64 rootFolders = 0;
    qint64 outOfSync = 0;         ///< Files and folders with that status.
    QByteArray lastSyncTime = {}; ///< The newest of its folders; empty without one.

    void add(const TableShape& table, const exchange::Row& row);
};

} // namespace velmioctl::fleet
