#pragma once

#include <velmioctl/records/PropertyOptions.h>

#include <optional>
#include <string>

namespace sync::config {
class FileConfiguration;
}

namespace velmioctl {

class Command;
class Session;

/// The options that give the fields of a file's record.
struct FileFields
{
    std::optional<std::string> serverPath;
    std::optional<std::string> name;
    std::optional<int> product;
    std::optional<int> parent;
    std::optional<std::string> status;
    std::optional<std::string> privileges;
    std::optional<int> syncOption;
    std::optional<int> operation;
    std::optional<std::string> owner;
    std::optional<std::string> serverFileId;
    std::optional<std::string> serverVersionId;
    std::optional<std::string> checkSum;
    std::optional<std::string> checkSumMd5;
    PropertyOptions properties;

    void addTo(Command& command);

    /// Changes what was given of a record; throws CommandError for what reads wrong.
    void apply(sync::config::FileConfiguration& file, Session& session) const;
};

} // namespace velmioctl
