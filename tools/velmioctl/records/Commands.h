#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl server ...`: the servers that the client knows.
void addServerCommands(Command& app, Session& session);
/// `velmioctl signin ...`: the users and passwords that the client signs in with.
void addSignInCommands(Command& app, Session& session);
/// `velmioctl product ...`: the products that are registered with the servers.
void addProductCommands(Command& app, Session& session);
/// `velmioctl folder ...`: the synchronised folders.
void addFolderCommands(Command& app, Session& session);
/// `velmioctl file ...`: the synchronised files.
void addFileCommands(Command& app, Session& session);
/// `velmioctl schedule ...`: when the client synchronises.
void addScheduleCommands(Command& app, Session& session);

} // namespace velmioctl
