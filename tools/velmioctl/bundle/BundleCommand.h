#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl bundle`: what a support engineer wants to know of a database, and no more.
void addBundleCommand(Command& app, Session& session);

} // namespace velmioctl
