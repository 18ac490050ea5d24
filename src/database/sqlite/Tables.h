#pragma once

#include <array>

namespace sync::database {

/// The tables that every configuration database has.
constexpr std::array Tables{"ServerConfiguration",   "AuthenticationConfiguration",
                            "ProductConfiguration",  "FolderConfiguration",
                            "FileConfiguration",     "GeneratedFileConfiguration",
                            "BaseFileConfiguration", "Schedules"};

} // namespace sync::database
