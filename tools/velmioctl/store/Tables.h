#pragma once

#include <array>

namespace velmioctl {

/// The tables of settings.
constexpr std::array TableNames{
    u"ServerConfiguration",   u"AuthenticationConfiguration",
    u"ProductConfiguration",  u"FolderConfiguration",
    u"FileConfiguration",     u"GeneratedFileConfiguration",
    u"BaseFileConfiguration", u"Schedules",
};

} // namespace velmioctl
