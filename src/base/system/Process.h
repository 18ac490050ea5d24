#pragma once

#include <QtGlobal>

namespace sync::base {

/// Keeps the memory of this process out of core files, and other processes of the user from reading
/// it, as far as the system allows.
void protectMemory();

/// Lets the process end silently when nobody reads its output any more, even if the parent had that
/// ignored.
void endWithReader();

/// A number for the user whose rights this process has, for StoreIdentity's stamp: the user id, or
/// on Windows one made of the SID.
qint64 currentUserNumber();

} // namespace sync::base
