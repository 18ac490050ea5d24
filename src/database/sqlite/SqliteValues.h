#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QVarLengthArray>
#include <QVariant>

struct sqlite3_stmt;

namespace sync::database {

/// Appends a text as UTF-8. An unpaired surrogate becomes the three bytes that its code point would
/// have, as WTF-8 has it (simonsapin.github.io/wtf-8), so that every QString survives.
void appendUtf8(QByteArray& buffer, QStringView text);

/// The text that appendUtf8() has written. Bytes that are no UTF-8 read as U+FFFD.
QString decodeUtf8(const char* bytes, qsizetype size);

/// The text under which a time is stored: Qt::ISODateWithMs, with "Z" or an offset only when the
/// value has that time spec. Empty for a time that has no such text, such as one after year 9999.
QString timeText(const QDateTime& time);

/// A column of the row on which a statement stands: a 64-bit integer, a double, a text, bytes, or
/// an invalid value for NULL.
QVariant columnValue(sqlite3_stmt* statement, int column);

/// Binds values to the placeholders of a statement and keeps the texts until the next call.
class BoundValues
{
public:
    /// Binds `values[i]` to parameter i + 1; an invalid value, a null text and the like are NULL.
    /// The values have to outlive the run of the statement. False when one cannot be stored
    /// without loss, with the reason in error().
    bool bind(sqlite3_stmt* statement, const QList<QVariant>& values);

    QString error() const { return message; }

private:
    bool bindOne(sqlite3_stmt* statement, int parameter, const QVariant& value);
    bool bindBytes(sqlite3_stmt* statement, int parameter, const QByteArray& bytes);
    bool bindTime(sqlite3_stmt* statement, int parameter, const QDateTime& time);
    bool bindText(sqlite3_stmt* statement, int parameter, const QString& text);
    bool refuse(const QString& reason);
    bool succeeded(int result);

    struct Text
    {
        int parameter;
        qsizetype offset;
        qsizetype size;
    };

    // All texts of the statement one behind the other. Bound at the end, when it moves no more.
    QByteArray buffer;
    QVarLengthArray<Text, 24> texts;
    QString message;
};

} // namespace sync::database
