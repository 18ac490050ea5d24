#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl explain`: tells what applies to a path, and why it is synchronised or not.
void addExplainCommand(CLI::App& app, Session& session);

} // namespace velmioctl
