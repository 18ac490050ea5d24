#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl signin ...`: the users and passwords that the client signs in with.
void addSignInCommands(CLI::App& app, Session& session);

} // namespace velmioctl
