#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl export`: the rows of a database as text.
void addExportCommand(Command& app, Session& session);
/// `velmioctl import`: brings the rows of an export into a database.
void addImportCommand(Command& app, Session& session);
/// `velmioctl diff`: how two databases or exports differ.
void addDiffCommand(Command& app, Session& session);

} // namespace velmioctl
