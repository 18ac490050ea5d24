#pragma once

namespace velmioctl {

class Command;
class Session;

void addFileCommands(Command& app, Session& session);

} // namespace velmioctl
