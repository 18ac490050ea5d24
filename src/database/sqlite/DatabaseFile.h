#pragma once

class QString;

namespace sync::database {

/// A path as hosts give it, made absolute.
QString absoluteFilePath(const QString& givenPath);

/// The same behind symbolic links, where SQLite keeps its log beside the file.
QString resolvedFilePath(const QString& givenPath);

/// Makes a database file ready for use: creates it, or looks at what is there before anything is
/// written, then brings its schema up to date.
///
/// Throws DatabaseError, and leaves a file that cannot be used as it is.
void prepareDatabaseFile(const QString& path);

} // namespace sync::database
