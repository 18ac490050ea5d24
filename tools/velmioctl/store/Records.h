#pragma once

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

/// Name-value properties, and a time as ISO 8601 or null.
QJsonObject toJson(const QMap<QString, QString>& properties);
QJsonValue toJson(const QDateTime& time);
void addProperties(FieldList& fields, const QMap<QString, QString>& properties);

/// The records as JSON objects, whose keys are the names of their fields.
QJsonObject toJson(const sync::config::ServerConfiguration& server);
QJsonObject toJson(const sync::config::FolderConfiguration& folder);
QJsonObject toJson(const sync::config::FileConfiguration& file);
QJsonObject toJson(const sync::config::ScheduleEntry& schedule);

/// The records as a person reads them, one field on each line.
FieldList toFields(const sync::config::ServerConfiguration& server);
FieldList toFields(const sync::config::FolderConfiguration& folder);
FieldList toFields(const sync::config::FileConfiguration& file);

} // namespace velmioctl
