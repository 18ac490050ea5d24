#include <velmioctl/fleet/SentRows.h>

#include <velmioctl/exchange/Masks.h>

#include <limits>

using namespace velmioctl::exchange;

namespace velmioctl::fleet {

namespace {

constexpr auto NullField = "\\N";

bool holdsNumbers(const Column& column)
{
    switch (column.kind) {
    case ValueKind::Number:
        // Its number is counted from the XML that it holds.
        return column.name != "fileLinks";
    case ValueKind::NotNegative:
    case ValueKind::Status:
    case ValueKind::FolderOption:
    case ValueKind::FileType:
    case ValueKind::Privileges:
    case ValueKind::ParentFolder:
    case ValueKind::DefaultFolder:
        return true;
    default:
        return false;
    }
}

bool holdsTime(const Column& column)
{
    return column.kind == ValueKind::Time || column.kind == ValueKind::LocalTime;
}

bool holdsPath(const Column& column)
{
    return column.name == "clientPath" || column.name == "serverPath" ||
           column.name == "serverRoot";
}

bool fits(const Column& column, qint64 number)
{
    // The size of a file is the one number of 64 bits.
    return column.name == "size" || (number >= std::numeric_limits<qint32>::min() &&
                                     number <= std::numeric_limits<qint32>::max());
}

// What follows the backslash in COPY's text format; 0 for a character that stays as it is.
char escapedAs(char character)
{
    switch (character) {
    case '\\':
        return '\\';
    case '\t':
        return 't';
    case '\n':
        return 'n';
    case '\r':
        return 'r';
    default:
        return '\0';
    }
}

} // namespace

SentRows::SentRows(const bundle::Redactor* redactor)
    : redactor(redactor)
{
}

QByteArray SentRows::lineOf(const TableShape& table, const Row& row)
{
    QByteArray line;
    line.reserve(512);
    for (size_t at = 0; at < table.columns.size(); ++at) {
        if (at > 0)
            line += '\t';
        append(line, table.columns[at], sent(table.columns[at], row.values[at]));
    }
    return line += '\n';
}

void SentRows::append(QByteArray& line, const Column& column, const Value& value)
{
    const auto* const text = std::get_if<Text>(&value);
    const auto* const number = std::get_if<qint64>(&value);
    const bool isNumber = holdsNumbers(column);
    if (number && isNumber && fits(column, *number))
        line += QByteArray::number(*number);
    else if (text && !isNumber)
        appendText(line, column, text->bytes);
    else
        line += NullField;
    if (number ? !isNumber || !fits(column, *number) : text && isNumber)
        ++changed;
}

void SentRows::appendText(QByteArray& line, const Column& column, const QByteArray& text)
{
    if (!redactor)
        appendField(line, storable(text));
    else if (column.name == "fileLinks")
        line += NullField;
    else
        appendField(line, redacted(column, text));
}

QByteArray SentRows::storable(const QByteArray& text)
{
    if (text.isValidUtf8() && !text.contains('\0'))
        return text;
    ++changed;
    return QString::fromUtf8(text).replace(QChar(), QChar(QChar::ReplacementCharacter)).toUtf8();
}

QByteArray SentRows::redacted(const Column& column, const QByteArray& text) const
{
    const Disclosure disclosure = column.kind == ValueKind::Url ? Disclosure::Url
                                  : holdsPath(column)           ? Disclosure::Path
                                  : holdsTime(column)           ? Disclosure::Time
                                                                : Disclosure::Identifier;
    return redactor->value(Text{text}, disclosure).toString().toUtf8();
}

void appendField(QByteArray& line, const QByteArray& text)
{
    qsizetype begin = 0;
    for (qsizetype at = 0; at < text.size(); ++at) {
        const char escaped = escapedAs(text[at]);
        if (escaped == '\0')
            continue;
        line.append(QByteArrayView(text).sliced(begin, at - begin)) += '\\';
        line += escaped;
        begin = at + 1;
    }
    line.append(QByteArrayView(text).sliced(begin));
}

} // namespace velmioctl::fleet
