#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl scan`: registers the folders that are on the disk and not in the database.
void addScanCommand(Command& app, Session& session);

} // namespace velmioctl
