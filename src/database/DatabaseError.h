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
    /// What kind of trouble it is, for programs that answer to it.
    enum class Cause {
        Other,           ///< None of those below; the text tells.
        Directory,       ///< The path names a directory.
        NoPermission,    ///< The file or its folder may not be read or written.
        ReadOnly,        ///< The place does not take writes.
        NotADatabase,    ///< The file is no SQLite database.
        ForeignDatabase, ///< A SQLite database of another program.
        TooNew,          ///< Written by a newer version of this library.
        Damaged,         ///< A SQLite database that does not read.
        Busy,            ///< Another process kept it locked for longer than the busy timeout.
        DiskFull,        ///< There is no space left for what was to be written.
        InputOutput,     ///< The operating system reported a failed read or write.
    };

    /// An error with this text for a person, in which no secret may stand.
    DatabaseError(Cause cause, const QString& text);
    ~DatabaseError() override;

    /// What kind of trouble it is.
    Cause cause() const noexcept { return reason; }

    /// what() as a QString.
    QString text() const;

private:
    Cause reason;
};

} // namespace sync::database
