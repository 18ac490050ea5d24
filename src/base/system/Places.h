#pragma once

#include <QString>

namespace sync::base {

/// The folder for what programs keep for the user apart from the data, so that copies of the data
/// do not contain it: on Linux XDG_STATE_HOME or ~/.local/state, on macOS ~/Library/Preferences, on
/// Windows "State" in %LOCALAPPDATA%. The same for every version of Qt, unlike Qt's own.
QString stateFolder();

} // namespace sync::base
