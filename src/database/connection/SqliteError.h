#pragma once

#include <base/FileError.h>
#include <database/DatabaseError.h>
#include <database/FailureLog.h>

#include <QString>

struct sqlite3;

namespace sync::database {

/// The text for a person about a failed statement: SQLite's message, and what to do if that is
/// known. It names tables and columns at most, and no value. Ask once: the connection may have no
/// error afterwards.
Failure failureOf(sqlite3* database);

/// A failed call on a database file, with SQLite's extended result code.
class SqliteError : public DatabaseError
{
public:
    SqliteError(const Failure& failure, const QString& text, int code)
        : DatabaseError(failure.cause, text)
        , failureText(failure.text)
        , resultCode(code)
    {
    }

    int code() const noexcept { return resultCode; }

    /// The primary code: the codes of one kind share their lowest byte.
    int primaryCode() const noexcept { return resultCode & 0xff; }

    /// What failureOf() returned, without the file.
    const QString& reason() const noexcept { return failureText; }

private:
    QString failureText;
    int resultCode;
};

/// The error of a failed call on a database file. Takes the extended result code and message from
/// the connection.
SqliteError databaseError(sqlite3* database, const QString& path);

/// The error of a failed call of the operating system.
DatabaseError databaseError(const base::FileError& error);

/// Runs work that may throw base::FileError, and throws a DatabaseError instead.
template <typename Work>
auto withFileErrors(const Work& work)
{
    try {
        return work();
    } catch (const base::FileError& error) {
        throw databaseError(error);
    }
}

} // namespace sync::database
