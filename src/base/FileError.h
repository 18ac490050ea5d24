#pragma once

#include <QString>

#include <stdexcept>

namespace sync::base {

/// The system's own text for an error code, such as "No space left on device".
QString systemErrorText(int code);

/// True if an errno says that a name does not exist, not only that it is unreadable.
bool isGone(int error);

/// A call of the operating system on a file that failed. Each room turns it into an error of its
/// own, with a remedy.
class FileError : public std::runtime_error
{
public:
    /// `doing` is the start of the text, such as "Cannot write the file"; `code` is an errno.
    FileError(const QString& path, const QString& doing, int code);

    int code() const noexcept { return errorCode; }

    /// "Cannot write the file /home/me/x: No space left on device".
    QString text() const { return QString::fromUtf8(what()); }

private:
    int errorCode;
};

} // namespace sync::base
