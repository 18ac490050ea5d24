#pragma once

#include <string>

namespace velmioctl {

class Command;
class Session;

/// How `velmioctl folder relocate` was called.
struct RelocationOptions
{
    std::string root;
    std::string newPath;
    std::string verify = "samples";
    bool dryRun = false;
    bool force = false;
    bool yes = false;

    void addTo(Command& command);
};

/// Changes the paths of a root folder, if what is at the new place is what is recorded.
void relocateFolder(Session& session, const RelocationOptions& options);

} // namespace velmioctl
