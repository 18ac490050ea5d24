#pragma once

#include <array>

namespace sync::database {

/// The tables of the records, which a database of any version has.
inline constexpr std::array Tables{"ServerConfiguration",   "AuthenticationConfiguration",
                                   "ProductConfiguration",  "FolderConfiguration",
                                   "FileConfiguration",     "GeneratedFileConfiguration",
                                   "BaseFileConfiguration", "Schedules"};

/// The triggers of a store.
inline constexpr std::array OwnTriggers{"FolderConfigurationRootNamesItself"};

} // namespace sync::database
