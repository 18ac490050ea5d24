#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl import`: brings the rows of an export into a database.
void addImportCommand(Command& app, Session& session);

} // namespace velmioctl
