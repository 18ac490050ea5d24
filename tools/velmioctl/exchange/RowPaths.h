#pragma once

#include <config/FileConfigManager.h>
#include <tree/PathMapping.h>
#include <velmioctl/exchange/Value.h>
#include <velmioctl/store/Columns.h>

#include <QString>

#include <string>
#include <vector>

namespace velmioctl::exchange {

/// Changes the paths in rows that come from another place or system.
class RowPaths
{
public:
    /// From texts such as "C:\\Users\\kim=/home/kim". Of several that apply to a path, the one with
    /// the longest old path counts. Throws CommandError for another text.
    explicit RowPaths(const std::vector<std::string>& mappings);

    bool isEmpty() const { return mappings.empty(); }

    /// Changes the paths of a row; false if it has none to change.
    bool apply(const TableShape& table, Row& row, const sync::config::FileConfigManager& files);

    /// Throws CommandError if no row had a path at or below one of the old ones, so that it was
    /// probably mistyped.
    void requireAllUsed() const;

private:
    struct Mapping
    {
        sync::tree::PathMapping paths;
        QString given;
        bool used = false;
    };

    QString newPath(const QString& path);

    std::vector<Mapping> mappings;
};

} // namespace velmioctl::exchange
