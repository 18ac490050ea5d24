#pragma once

#include <QString>

namespace velmioctl {

/// The columns that a text takes on a terminal: wide characters two, combining ones none.
int displayWidth(const QString& text);

/// The start of a text that fits into `columns`, ending in `ellipsis` where it was cut. Combining
/// characters stay with the one that they belong to.
QString cutToWidth(const QString& text, int columns, const QString& ellipsis);

/// A text broken between words into lines of at most `columns`, each behind `indent` blanks; one
/// line when `columns` is 0. What stands in quotes is never broken, for it is copied from there.
QString wrapped(const QString& text, int columns, int indent = 0);

/// Replaces what could command a terminal or hide text in it (control characters, marks of writing
/// direction, line separators) by visible escapes such as `\n`, `\x1b` and `\u{202e}`.
QString escapeControls(const QString& text);

/// The same for a message of several lines, whose line breaks stay.
QString escapeControlsInLines(const QString& text);

/// A name or path inside a message: escaped, in quotes.
QString quoted(const QString& name);

/// Bytes that are no valid UTF-8, with every byte that is not printable ASCII as `\xff`.
QString escapeBytes(const QByteArray& bytes);

} // namespace velmioctl
