#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>

#include <stdexcept>

namespace sync::database {

/// A configuration database that cannot be used. what() is UTF-8 text for a person: it names the
/// file, the cause and the remedy.
class VELMIO_DATABASE_EXPORT DatabaseError : public std::runtime_error
{
public:
    /// The kind of error, for programs that handle it.
    enum class Cause {
        Other,           ///< None of the following; see the text.
        Directory,       ///< The path names a directory.
        NoPermission,    ///< The file or its folder may not be read or written.
        ReadOnly,        ///< The file cannot be written at its place.
        NotADatabase,    ///< The file is not an SQLite database.
        ForeignDatabase, ///< An SQLite database of another program.
        TooNew,          ///< Written by a newer version of this library.
        Damaged,         ///< An SQLite database that cannot be read correctly.
        Busy,            ///< Another process kept it locked for longer than the busy timeout.
        DiskFull,        ///< No space is left to write.
        InputOutput,     ///< The operating system reported a failed read or write.
        IdsUsedUp,       ///< A table has assigned the highest possible id.
        Untrusted,       ///< Other users own or may change what belongs to the store.
        AlteredSchema,   ///< The schema has something foreign that could change what is stored.
        OtherStore,      ///< The backup is of another store than the database.
        Unreachable,     ///< The server cannot be reached, or the connection to it broke.
    };

    /// An error with this text for a person, which must not contain a secret.
    DatabaseError(Cause cause, const QString& text);
    ~DatabaseError() override;

    /// The kind of error.
    Cause cause() const noexcept { return reason; }

    /// what() as a QString.
    QString text() const;

private:
    Cause reason;
};

} // namespace sync::database
