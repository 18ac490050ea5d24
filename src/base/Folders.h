#pragma once

class QString;

namespace sync::base {

/// Creates a folder with mode 0700, whatever the umask, and the ones above it where they are
/// missing. All that it creates, and the folder if it exists, is durable when this returns. Throws
/// FileError.
void createFolders(const QString& folder);

/// Makes new and renamed entries of a folder durable. Throws FileError. Does nothing where the
/// folder may be written but not read, or its file system does not sync folders.
void syncFolder(const QString& folder);

} // namespace sync::base
