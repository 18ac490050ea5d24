#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl bundle`: information about a database for support.
void addBundleCommand(Command& app, Session& session);

} // namespace velmioctl
