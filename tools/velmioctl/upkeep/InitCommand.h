#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl init`: creates the database.
void addInitCommand(Command& app, Session& session);

} // namespace velmioctl
