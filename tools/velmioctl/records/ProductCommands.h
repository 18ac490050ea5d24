#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl product ...`: the products that are registered with the servers.
void addProductCommands(Command& app, Session& session);

} // namespace velmioctl
