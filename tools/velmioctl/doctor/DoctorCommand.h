#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl doctor`: finds what is wrong with a database, and repairs some of it.
void addDoctorCommand(Command& app, Session& session);

} // namespace velmioctl
