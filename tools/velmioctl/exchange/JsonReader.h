#pragma once

#include <velmioctl/cli/ExitCode.h>
#include <velmioctl/exchange/Value.h>

#include <QIODevice>
#include <QString>

namespace velmioctl::exchange {

/// What is wrong with a text, and in which line.
class TextError : public CommandError
{
public:
    TextError(
        const QString& name, qint64 line, const QString& text, ExitCode code = ExitCode::Usage);
};

/// Reads JSON piece by piece, so that a text of any size takes little memory, and knows the line.
///
/// The toolkit's reader wants all of the text, reads numbers as floating-point ones and forgets
/// lines. The caller says what has to come; all throws TextError when something else does.
class JsonReader
{
public:
    /// `name` is what errors call the text.
    JsonReader(QIODevice& device, const QString& name);

    /// The line of what was read last, from 1.
    qint64 line() const { return currentLine; }

    void beginObject() { require('{'); }

    /// Whether a member follows in the object that was begun, whose end is read otherwise.
    bool nextMember(bool first) { return next(first, '}'); }
    QByteArray readKey();

    void beginArray() { require('['); }
    bool nextElement(bool first) { return next(first, ']'); }

    bool nextIsNull() { return peek() == 'n'; }
    void readNull();
    QByteArray readString();
    qint64 readInteger();

    /// Bytes in a string that has them in base64.
    QByteArray readBase64();

    /// What toJson() has written: a value of a column.
    Value readValue();

    /// Requires that nothing but blanks is left.
    void readEnd();

    [[noreturn]] void fail(const QString& text, ExitCode code = ExitCode::Usage) const;
    [[noreturn]] void failAt(qint64 line, const QString& text) const;

private:
    static constexpr int End = -1;

    int peekByte();
    int peek(); // behind blanks
    char take();
    void require(char expected);
    bool next(bool first, char end);
    QByteArray readNumber();
    Value readNumberValue();
    Value readObjectValue();
    void appendEscape(QByteArray& text);
    char16_t readHexUnit();
    QString found();

    QIODevice& device;
    const QString name;
    QByteArray buffer;
    qsizetype at = 0;
    qint64 currentLine = 1;
};

} // namespace velmioctl::exchange
