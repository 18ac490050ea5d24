#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl adopt`: makes a database that was copied or moved here this machine's own.
void addAdoptCommand(Command& app, Session& session);

} // namespace velmioctl
