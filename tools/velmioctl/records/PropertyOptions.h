#pragma once

#include <QMap>
#include <QString>

#include <string>
#include <vector>

namespace sync::config {
class DatabaseConfigurationManager;
}

namespace velmioctl {

class Command;

/// The options --property and --unset-property of commands that write a record.
class PropertyOptions
{
public:
    void addSetTo(Command& command);
    void addUnsetTo(Command& command);

    /// The properties of a record with the changes made. Throws CommandError for an option that
    /// reads wrong, or for a property that the database's text form cannot hold.
    QMap<QString, QString> applied(
        QMap<QString, QString> properties,
        sync::config::DatabaseConfigurationManager& manager) const;

private:
    std::vector<std::string> assignments;
    std::vector<std::string> removals;
};

} // namespace velmioctl
