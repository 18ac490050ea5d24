#pragma once

#include <QByteArray>

#include <string>
#include <vector>

namespace sync::base {

/// Keeps the memory of this process out of core files, and other processes of the user from reading
/// it, as far as the system allows.
void protectMemory();

/// Lets the process end silently when nobody reads its output any more, even if the parent had that
/// ignored.
void endWithReader();

/// The arguments of the program, as UTF-8 where the system has them as other text.
std::vector<std::string> arguments(int argc, const char* const* argv);

/// The value of an environment variable in the same form; empty without one.
QByteArray environmentVariable(const char* name);

/// Goes on as another program, with the same arguments and variables. Returns only if that fails:
/// an errno. Not on Windows, which knows no such thing.
int becomeProgram(const QString& path, char* const* argv);

/// Ends the process by a signal, as the parent expects. Returns where the parent has it ignored, or
/// where signals end no process.
void endBySignal(int signal);

/// A number for the user whose rights this process has, for StoreIdentity's stamp: the user id, or
/// on Windows one made of the SID.
qint64 currentUserNumber();

} // namespace sync::base
