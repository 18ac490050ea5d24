#pragma once

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/exchange/Value.h>

#include <QIODevice>
#include <QString>

#include <functional>

namespace velmioctl::exchange {

/// An error in a text, with its line.
class TextError : public CommandError
{
public:
    TextError(
        const QString& name, qint64 line, const QString& text, ExitCode code = ExitCode::Usage);
};

/// Reads JSON piece by piece, so that a text of any size needs little memory, and knows the line.
///
/// QJsonDocument needs the whole text, reads 1.0 as the integer 1 and reports no line. For an
/// export of 100,000 files (91 MB) it takes 310 MB; a whole import with this reader takes 20 MB.
///
/// The caller says what must come next; all functions throw TextError for anything else.
class JsonReader
{
public:
    /// Takes the bytes as they are read.
    using Listener = std::function<void(const QByteArray& bytes)>;

    /// Errors refer to the text by `name`.
    JsonReader(QIODevice& device, const QString& name, Listener listener = {});

    /// The line of what was read last; the first is 1.
    qint64 line() const { return currentLine; }

    void beginObject() { require('{'); }

    /// True if the current object has another member; otherwise its end has been read.
    bool nextMember(bool first) { return next(first, '}'); }
    QByteArray readKey();

    void beginArray() { require('['); }
    bool nextElement(bool first) { return next(first, ']'); }

    bool nextIsNull() { return peek() == 'n'; }
    void readNull();
    QByteArray readString();
    qint64 readInteger();

    /// The bytes that a string holds in base64.
    QByteArray readBase64();

    /// A value of a column, as toJson() writes it.
    Value readValue();

    /// Requires that only blanks follow.
    void readEnd();

    [[noreturn]] void fail(const QString& text, ExitCode code = ExitCode::Usage) const;
    [[noreturn]] void failAt(qint64 line, const QString& text) const;

private:
    static constexpr int End = -1;

    int peekByte();
    int peek(); // after blanks
    char take();
    void require(char expected);
    bool next(bool first, char end);
    QByteArray readNumber();
    Value readNumberValue();
    Value readObjectValue();
    Value readMaskedValue();
    void appendEscape(QByteArray& text);
    char16_t readHexUnit();
    QString found();

    QIODevice& device;
    const QString name;
    const Listener listener;
    QByteArray buffer;
    qsizetype at = 0;
    qint64 currentLine = 1;
};

} // namespace velmioctl::exchange
