#pragma once

#include <velmioctl/store/Columns.h>

#include <QJsonObject>
#include <QMap>
#include <QString>

namespace sync::config {
class FileConfiguration;
class FolderConfiguration;
class ScheduleEntry;
class ServerConfiguration;
} // namespace sync::config

namespace velmioctl {

class FieldList;
class Output;

/// Name-value properties, and a time as ISO 8601 or null.
QJsonObject toJson(const QMap<QString, QString>& properties);
QJsonValue toJson(const QDateTime& time);

/// A record with one value for each column of its table. Properties are a QMap of strings.
struct ColumnValues
{
    ColumnValues(const TableShape& table, std::vector<QVariant> values);
    ColumnValues(const sync::config::ServerConfiguration& server);
    ColumnValues(const sync::config::FolderConfiguration& folder);
    ColumnValues(const sync::config::FileConfiguration& file);
    ColumnValues(const sync::config::ScheduleEntry& schedule);

    const QVariant& operator[](const char* column) const { return values[table.indexOf(column)]; }
    /// True if the record has the secret of its table.
    bool hasSecret() const;

    const TableShape& table;
    std::vector<QVariant> values;
};

QJsonObject toJson(const ColumnValues& record);

/// The value of a column in a table for a person.
QString cellOf(const ColumnValues& record, size_t column);

/// One field on each line; in place of a secret stars, or `revealed`.
FieldList toFields(const ColumnValues& record, const QString& revealed = {});

/// Prints a record as JSON or for a person.
void print(Output& output, const ColumnValues& record);

} // namespace velmioctl
