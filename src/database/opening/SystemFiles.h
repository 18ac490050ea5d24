#pragma once

class QString;

namespace sync::database {

/// Throws the DatabaseError of a call of the operating system that failed with `code`; `doing` is
/// the start of its text, which `path` follows.
[[noreturn]] void failAt(const QString& path, const QString& doing, int code);

/// Creates a folder for the user alone, with the ones above it where they are missing. Throws
/// DatabaseError.
void createFolder(const QString& folder);

/// Makes new and renamed entries of a folder durable.
void syncFolder(const QString& folder);

} // namespace sync::database
