#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl export`: the rows of a database as text.
void addExportCommand(Command& app, Session& session);

} // namespace velmioctl
