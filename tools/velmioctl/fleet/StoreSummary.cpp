#include <velmioctl/fleet/StoreSummary.h>

#include <config/ConfigurationEnums.h>

#include <QDateTime>

#include <algorithm>

using namespace velmioctl::exchange;

namespace velmioctl::fleet {

namespace {

qint64 numberIn(const TableShape& table, const Row& row, const char* column)
{
    const auto* const number = std::get_if<qint64>(&row.values[table.indexOf(column)]);
    return number ? *number : 0;
}

// Empty for other text, which could be anything.
QByteArray timeIn(const Value& value)
{
    const auto* const text = std::get_if<Text>(&value);
    const bool isTime =
        text && QDateTime::fromString(QString::fromUtf8(text->bytes), Qt::ISODateWithMs).isValid();
    return isTime ? text->bytes : QByteArray();
}

} // namespace

void StoreSummary::add(const TableShape& table, const Row& row)
{
    if (table.name == "FileConfiguration") {
        ++files;
        bytes += std::max<qint64>(0, numberIn(table, row, "size"));
        outOfSync += numberIn(table, row, "syncStatus") == sync::config::FileNotSynced;
    } else if (table.name == "FolderConfiguration") {
        ++folders;
        rootFolders += numberIn(table, row, "parentId") == 0;
        outOfSync += numberIn(table, row, "syncStatus") == sync::config::FolderNotSynced;
        lastSyncTime = std::max(lastSyncTime, timeIn(row.values[table.indexOf("lastSyncTime")]));
    }
}

} // namespace velmioctl::fleet
