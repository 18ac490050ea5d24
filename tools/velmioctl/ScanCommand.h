#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl scan`: registers the folders that are on the disk and not in the database.
void addScanCommand(CLI::App& app, Session& session);

} // namespace velmioctl
