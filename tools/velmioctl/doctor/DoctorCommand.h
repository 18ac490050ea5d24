#pragma once

namespace CLI {
class App;
}

namespace velmioctl {

class Session;

/// `velmioctl doctor`: finds what is wrong with a database, and mends some of it.
void addDoctorCommand(CLI::App& app, Session& session);

} // namespace velmioctl
