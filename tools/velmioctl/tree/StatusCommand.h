#pragma once

namespace velmioctl {

class Command;
class Session;

void addStatusCommand(Command& app, Session& session);

} // namespace velmioctl
