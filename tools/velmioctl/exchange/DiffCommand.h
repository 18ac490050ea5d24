#pragma once

namespace velmioctl {

class Command;
class Session;

/// `velmioctl diff`: what two databases or exports do not have in common.
void addDiffCommand(Command& app, Session& session);

} // namespace velmioctl
