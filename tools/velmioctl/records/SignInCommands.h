#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl signin ...`: the users and passwords that the client signs in with.
void addSignInCommands(Command& app, Session& session);

} // namespace velmioctl
