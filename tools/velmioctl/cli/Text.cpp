#include <velmioctl/cli/Text.h>

#include <QStringList>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

struct Range
{
    char32_t first;
    char32_t last;
};

// The blocks that terminals draw two columns wide (unicode.org/reports/tr11: wide and fullwidth),
// ascending.
constexpr std::array WideRanges{
    Range{0x1100, 0x115F},   Range{0x231A, 0x231B},   Range{0x2329, 0x232A},
    Range{0x23E9, 0x23EC},   Range{0x23F0, 0x23F0},   Range{0x23F3, 0x23F3},
    Range{0x25FD, 0x25FE},   Range{0x2614, 0x2615},   Range{0x2648, 0x2653},
    Range{0x267F, 0x267F},   Range{0x2693, 0x2693},   Range{0x26A1, 0x26A1},
    Range{0x26AA, 0x26AB},   Range{0x26BD, 0x26BE},   Range{0x26C4, 0x26C5},
    Range{0x26CE, 0x26CE},   Range{0x26D4, 0x26D4},   Range{0x26EA, 0x26EA},
    Range{0x26F2, 0x26F3},   Range{0x26F5, 0x26F5},   Range{0x26FA, 0x26FA},
    Range{0x26FD, 0x26FD},   Range{0x2705, 0x2705},   Range{0x270A, 0x270B},
    Range{0x2728, 0x2728},   Range{0x274C, 0x274C},   Range{0x274E, 0x274E},
    Range{0x2753, 0x2755},   Range{0x2757, 0x2757},   Range{0x2795, 0x2797},
    Range{0x27B0, 0x27B0},   Range{0x27BF, 0x27BF},   Range{0x2B1B, 0x2B1C},
    Range{0x2B50, 0x2B50},   Range{0x2B55, 0x2B55},   Range{0x2E80, 0x303E},
    Range{0x3041, 0x33FF},   Range{0x3400, 0x4DBF},   Range{0x4E00, 0xA4CF},
    Range{0xA960, 0xA97F},   Range{0xAC00, 0xD7A3},   Range{0xF900, 0xFAFF},
    Range{0xFE10, 0xFE19},   Range{0xFE30, 0xFE6F},   Range{0xFF00, 0xFF60},
    Range{0xFFE0, 0xFFE6},   Range{0x16FE0, 0x18CFF}, Range{0x1AFF0, 0x1B2FF},
    Range{0x1F004, 0x1F004}, Range{0x1F0CF, 0x1F0CF}, Range{0x1F18E, 0x1F18E},
    Range{0x1F191, 0x1F19A}, Range{0x1F200, 0x1F265}, Range{0x1F300, 0x1F320},
    Range{0x1F32D, 0x1F335}, Range{0x1F337, 0x1F37C}, Range{0x1F37E, 0x1F393},
    Range{0x1F3A0, 0x1F3CA}, Range{0x1F3CF, 0x1F3D3}, Range{0x1F3E0, 0x1F3F0},
    Range{0x1F3F4, 0x1F3F4}, Range{0x1F3F8, 0x1F43E}, Range{0x1F440, 0x1F440},
    Range{0x1F442, 0x1F4FC}, Range{0x1F4FF, 0x1F53D}, Range{0x1F54B, 0x1F54E},
    Range{0x1F550, 0x1F567}, Range{0x1F57A, 0x1F57A}, Range{0x1F595, 0x1F596},
    Range{0x1F5A4, 0x1F5A4}, Range{0x1F5FB, 0x1F64F}, Range{0x1F680, 0x1F6C5},
    Range{0x1F6CC, 0x1F6CC}, Range{0x1F6D0, 0x1F6D2}, Range{0x1F6D5, 0x1F6D7},
    Range{0x1F6DC, 0x1F6DF}, Range{0x1F6EB, 0x1F6EC}, Range{0x1F6F4, 0x1F6FC},
    Range{0x1F7E0, 0x1F7EB}, Range{0x1F7F0, 0x1F7F0}, Range{0x1F90C, 0x1F93A},
    Range{0x1F93C, 0x1F945}, Range{0x1F947, 0x1F9FF}, Range{0x1FA70, 0x1FAFF},
    Range{0x20000, 0x3FFFD},
};

int columnsOf(char32_t character)
{
    switch (QChar::category(character)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
    case QChar::Other_Format:
        return 0;
    default:
        break;
    }
    // Vowels and final consonants that join the Hangul syllable before them.
    if (character >= 0x1160 && character <= 0x11FF)
        return 0;
    const auto* const range = std::lower_bound(
        WideRanges.begin(), WideRanges.end(), character,
        [](Range r, char32_t c) { return r.last < c; });
    return range != WideRanges.end() && range->first <= character ? 2 : 1;
}

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

bool commandsTerminal(char32_t character)
{
    const bool direction = character == 0x061C || (character >= 0x200E && character <= 0x200F) ||
                           (character >= 0x202A && character <= 0x202E) ||
                           (character >= 0x2066 && character <= 0x2069);
    const bool line = character == 0x2028 || character == 0x2029;
    const bool halfPair = character >= 0xD800 && character <= 0xDFFF;
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || direction || line ||
           halfPair;
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

// Cut at the blanks outside of quotes. An apostrophe inside a word opens none.
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
        columns += columnsOf(character);
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
        used += columnsOf(character);
        if (used > room)
            return false;
        length += units;
        return true;
    });
    return text.left(length) + ellipsis;
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
        if (commandsTerminal(character))
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

QString quoted(const QString& name)
{
    return u'"' + escapeControls(name) + u'"';
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
