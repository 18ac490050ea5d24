#pragma once

#include <tree/RootPlace.h>
#include <tree/TreeProblem.h>

#include <QString>

namespace velmioctl {

/// A word of JSON, such as "present" or "other-disk".
QString wordFor(sync::tree::RootState state);

/// The error for a root folder that is not present.
QString describe(sync::tree::RootState state, const sync::config::FolderConfiguration& root);

/// The warning of a place or file that cannot be compared or recorded.
QString describe(const sync::tree::TreeProblem& problem);

} // namespace velmioctl
