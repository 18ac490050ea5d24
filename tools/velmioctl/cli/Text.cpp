#include <velmioctl/cli/Text.h>

#include <QStringList>

#include <utf8proc.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

// Calls `use` with each character and its length in UTF-16 units until that returns false.
template <typename Use>
void forEachCharacter(const QString& text, Use use)
{
    for (qsizetype at = 0; at < text.size();) {
        const bool pair = text.at(at).isHighSurrogate() && at + 1 < text.size() &&
                          text.at(at + 1).isLowSurrogate();
        const char32_t character = pair ? QChar::surrogateToUcs4(text.at(at), text.at(at + 1))
                                        : char32_t(text.at(at).unicode());
        if (!use(character, pair ? 2 : 1))
            return;
        at += pair ? 2 : 1;
    }
}

// By the tables of Unicode: a character without a look of its own commands a terminal, turns the
// writing direction, or makes two names look alike.
bool isHidden(char32_t character)
{
    const utf8proc_property_t& property =
        *utf8proc_get_property(static_cast<utf8proc_int32_t>(character));
    switch (property.category) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_CS:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return true;
    default:
        return property.ignorable;
    }
}

QString escapeOf(char32_t character)
{
    switch (character) {
    case '\n':
        return u"\\n"_s;
    case '\r':
        return u"\\r"_s;
    case '\t':
        return u"\\t"_s;
    default:
        break;
    }
    const QString digits = QString::number(uint(character), 16);
    return character < 0x100 ? u"\\x"_s + digits.rightJustified(2, u'0')
                             : u"\\u{"_s + digits + u'}';
}

// Split at the blanks outside of quotes. An apostrophe inside a word does not begin a quotation.
QStringList unbreakableWords(const QString& text)
{
    QStringList words;
    QString word;
    QChar quote;
    for (const QChar character : text) {
        if (character == u' ' && quote.isNull()) {
            words += std::exchange(word, {});
            continue;
        }
        if (character == quote)
            quote = {};
        else if (quote.isNull() && (character == u'"' || (character == u'\'' && word.isEmpty())))
            quote = character;
        word += character;
    }
    words += word;
    return words;
}

} // namespace

int displayWidth(const QString& text)
{
    int columns = 0;
    forEachCharacter(text, [&columns](char32_t character, int) {
        columns += utf8proc_charwidth(utf8proc_int32_t(character));
        return true;
    });
    return columns;
}

QString cutToWidth(const QString& text, int columns, const QString& ellipsis)
{
    if (displayWidth(text) <= columns)
        return text;

    const int room = std::max(0, columns - displayWidth(ellipsis));
    int used = 0;
    qsizetype length = 0;
    forEachCharacter(text, [&](char32_t character, int units) {
        used += utf8proc_charwidth(utf8proc_int32_t(character));
        if (used > room)
            return false;
        length += units;
        return true;
    });
    return text.left(length) + ellipsis;
}

QString shortened(const QString& text, int columns, const QString& ellipsis)
{
    if (displayWidth(text) <= columns)
        return text;
    const QString start = cutToWidth(text, columns / 3, ellipsis);
    const int room = columns - displayWidth(start);
    // Never begins with a combining character, whose base it would lose.
    qsizetype at = text.size();
    for (qsizetype from = at - 1; from > 0 && displayWidth(text.sliced(from)) <= room; --from) {
        const bool splitsPair = text[from].isLowSurrogate() && text[from - 1].isHighSurrogate();
        if (!splitsPair && displayWidth(text.sliced(from)) > displayWidth(text.sliced(at)))
            at = from;
    }
    return start + text.sliced(at);
}

QString wrapped(const QString& text, int columns, int indent)
{
    const QString margin(indent, u' ');
    QString result = margin;
    int used = indent;
    for (const QString& word : unbreakableWords(text)) {
        const int width = displayWidth(word);
        const bool first = used == indent;
        if (!first && columns > 0 && used + 1 + width > columns) {
            result += u'\n' + margin + word;
            used = indent + width;
            continue;
        }
        result += first ? word : u' ' + word;
        used += width + (first ? 0 : 1);
    }
    return result;
}

QString escapeControls(const QString& text)
{
    QString escaped;
    escaped.reserve(text.size());
    qsizetype at = 0;
    forEachCharacter(text, [&](char32_t character, int units) {
        if (isHidden(character))
            escaped += escapeOf(character);
        else
            escaped += QStringView(text).mid(at, units);
        at += units;
        return true;
    });
    return escaped;
}

QString escapeControlsInLines(const QString& text)
{
    QStringList lines = text.split(u'\n');
    for (QString& line : lines)
        line = escapeControls(line);
    return lines.join(u'\n');
}

QByteArray escapeInJson(const QByteArray& json)
{
    const QString text = QString::fromUtf8(json);
    QString escaped;
    escaped.reserve(text.size());
    qsizetype at = 0;
    forEachCharacter(text, [&](char32_t character, int units) {
        const QStringView written = QStringView(text).mid(at, units);
        at += units;
        // Those below are blanks between the strings, in which JSON has them escaped.
        if (character < 0x7F || !isHidden(character)) {
            escaped += written;
            return true;
        }
        for (const QChar unit : written)
            escaped += u"\\u%1"_s.arg(unit.unicode(), 4, 16, QLatin1Char('0'));
        return true;
    });
    return escaped.toUtf8();
}

QString quoted(const QString& name)
{
    return u'"' + escapeControls(name) + u'"';
}

QString counted(long long count, const QString& noun)
{
    return QString::number(count) + u' ' + noun + (count == 1 ? QString() : u"s"_s);
}

QString escapeBytes(const QByteArray& bytes)
{
    QString escaped;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (value >= 0x20 && value < 0x7F)
            escaped += QLatin1Char(byte);
        else
            escaped += u"\\x"_s + QString::number(uint(value), 16).rightJustified(2, u'0');
    }
    return escaped;
}

} // namespace velmioctl
