#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl init`: creates the database.
void addInitCommand(Command& app, Session& session);
/// `velmioctl adopt`: accepts a database that was copied or moved to this machine.
void addAdoptCommand(Command& app, Session& session);
/// `velmioctl backup`: copies of the database.
void addBackupCommands(Command& app, Session& session);
/// `velmioctl restore` and `velmioctl recover`: ways back from a lost or damaged database.
void addRecoveryCommands(Command& app, Session& session);
/// `velmioctl secrets ...`: the keys that stored passwords are encrypted with.
void addSecretsCommands(Command& app, Session& session);
/// `velmioctl query`: the rows that a SELECT finds.
void addQueryCommand(Command& app, Session& session);
/// `velmioctl stats`: what is in the database, and how big it is.
void addStatsCommand(Command& app, Session& session);
/// `velmioctl watch`: which records change, as they change.
void addWatchCommand(Command& app, Session& session);

} // namespace velmioctl
