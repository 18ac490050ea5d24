#pragma once

#include <velmioctl/records/PropertyOptions.h>

#include <optional>
#include <string>

namespace sync::config {
class FolderConfiguration;
}

namespace velmioctl {

class Command;
class Session;

/// The options that give the fields of a folder's record.
struct FolderFields
{
    std::optional<std::string> serverPath;
    std::optional<std::string> name;
    std::optional<int> signIn;
    std::optional<int> product;
    std::optional<std::string> status;
    std::optional<std::string> option;
    std::optional<std::string> privileges;
    std::optional<int> syncOption;
    std::optional<int> driveType;
    std::optional<std::string> owner;
    std::optional<std::string> serverRoot;
    std::optional<std::string> serverFolderId;
    std::optional<std::string> shortKey;
    std::optional<std::string> longKey;
    PropertyOptions properties;

    void addTo(Command& command);

    /// Changes what was given of a record; throws CommandError for what reads wrong.
    void apply(sync::config::FolderConfiguration& folder, Session& session) const;

private:
    void applyNumbers(sync::config::FolderConfiguration& folder) const;
    void applyTexts(sync::config::FolderConfiguration& folder) const;
};

} // namespace velmioctl
