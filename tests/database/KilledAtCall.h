#pragma once

#include <functional>

namespace sync::test {

enum class ChildEnd {
    Killed,   ///< Just before the call.
    Finished, ///< The action makes fewer calls than that.
    Failed,   ///< The action threw.
};

/// Runs an action in a child process that is killed just before its n-th call that changes a file
/// or a folder, such as a write, a sync or a rename. Nothing may have a database open during the
/// call.
ChildEnd runKilledAtCall(int call, const std::function<void()>& action);

} // namespace sync::test
