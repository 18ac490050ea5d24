#pragma once

#include <QByteArray>
#include <QString>

namespace velmioctl {

/// The columns that a text takes on a terminal: two for a wide character, none for a combining one.
int displayWidth(const QString& text);

/// The start of a text that fits into `columns`, with `ellipsis` at its end if it was cut. A
/// combining character stays with the one that it belongs to.
QString cutToWidth(const QString& text, int columns, const QString& ellipsis);

/// The start and the end of a text that fit into `columns`, with `ellipsis` between them if it was
/// shortened. The end is longer: in a path it tells most.
QString shortened(const QString& text, int columns, const QString& ellipsis);

/// A text broken between words into lines of at most `columns`, each indented by `indent` blanks;
/// one line when `columns` is 0. Text in quotes is not broken, so that it can be copied.
QString wrapped(const QString& text, int columns, int indent = 0);

/// Replaces characters that control a terminal or hide text in it (control characters, marks of
/// writing direction, line separators, characters without a width, tags) by visible escapes such as
/// `\n`, `\x1b` and `\u{202e}`.
QString escapeControls(const QString& text);

/// The same for a message of several lines, with its line breaks kept.
QString escapeControlsInLines(const QString& text);

/// The same for JSON in UTF-8, by escapes that mean the same to its readers, such as `\u202e`. A
/// piece of JSON must end between characters.
QByteArray escapeInJson(const QByteArray& json);

/// A name or path inside a message: escaped, in quotes.
QString quoted(const QString& name);

/// A number with what it counts, such as "1 file" or "3 files"; `noun` is in the singular.
QString counted(long long count, const QString& noun);

/// Bytes that are not valid UTF-8, with each byte that is not printable ASCII as `\xff`.
QString escapeBytes(const QByteArray& bytes);

} // namespace velmioctl
