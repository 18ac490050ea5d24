#pragma once

namespace velmioctl {

class Command;
class Session;

void addFleetCommands(Command& app, Session& session);

} // namespace velmioctl
