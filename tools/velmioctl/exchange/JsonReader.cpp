#include <velmioctl/exchange/JsonReader.h>

#include <velmioctl/cli/Text.h>

#include <QRegularExpression>

#include <charconv>
#include <limits>

using namespace Qt::StringLiterals;

namespace velmioctl::exchange {

namespace {

constexpr qint64 ChunkBytes = 65'536;

bool isBlank(int byte)
{
    return byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
}

bool isOfNumber(int byte)
{
    return (byte >= '0' && byte <= '9') || byte == '-' || byte == '+' || byte == '.' ||
           byte == 'e' || byte == 'E';
}

bool isNumber(const QByteArray& digits)
{
    static const QRegularExpression grammar(
        uR"(\A-?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][-+]?[0-9]+)?\z)"_s);
    return grammar.match(QString::fromLatin1(digits)).hasMatch();
}

bool isInteger(const QByteArray& digits)
{
    return digits.indexOf('.') < 0 && digits.indexOf('e') < 0 && digits.indexOf('E') < 0;
}

} // namespace

TextError::TextError(const QString& name, qint64 line, const QString& text, ExitCode code)
    : CommandError(code, u"%1, line %2: %3."_s.arg(name, QString::number(line), text))
{
}

JsonReader::JsonReader(QIODevice& device, const QString& name, Listener listener)
    : device(device)
    , name(name)
    , listener(std::move(listener))
{
}

QByteArray JsonReader::readKey()
{
    QByteArray key = readString();
    require(':');
    return key;
}

void JsonReader::readNull()
{
    for (const char letter : {'n', 'u', 'l', 'l'}) {
        if (peekByte() != letter)
            fail(u"expected a value and found %1"_s.arg(found()));
        take();
    }
}

QByteArray JsonReader::readString()
{
    require('"');
    QByteArray text;
    while (true) {
        const int byte = peekByte();
        if (byte == End)
            fail(u"a string does not end"_s);
        if (byte < 0x20)
            fail(u"a string holds a control character, which must be written as \\u%1"_s.arg(
                byte, 4, 16, QLatin1Char('0')));
        take();
        if (byte == '"')
            break;
        if (byte == '\\')
            appendEscape(text);
        else
            text += static_cast<char>(byte);
    }
    if (!text.isValidUtf8())
        fail(u"a string is not valid UTF-8"_s);
    return text;
}

qint64 JsonReader::readInteger()
{
    const Value value = readNumberValue();
    const auto* const number = std::get_if<qint64>(&value);
    if (!number)
        fail(u"expected an integer"_s);
    return *number;
}

QByteArray JsonReader::readBase64()
{
    const auto decoded = QByteArray::fromBase64Encoding(
        readString(), QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        fail(u"a string is not base64"_s);
    return *decoded;
}

Value JsonReader::readValue()
{
    switch (peek()) {
    case '"':
        return Text{readString()};
    case '{':
        return readObjectValue();
    case 'n':
        readNull();
        return Null();
    default:
        return readNumberValue();
    }
}

void JsonReader::readEnd()
{
    if (peek() != End)
        fail(u"expected the end of the text and found %1"_s.arg(found()));
}

void JsonReader::fail(const QString& text, ExitCode code) const
{
    throw TextError(name, currentLine, text, code);
}

void JsonReader::failAt(qint64 line, const QString& text) const
{
    throw TextError(name, line, text);
}

int JsonReader::peekByte()
{
    if (at == buffer.size()) {
        buffer = device.read(ChunkBytes);
        at = 0;
        if (listener)
            listener(buffer);
        if (buffer.isEmpty())
            return End;
    }
    return static_cast<unsigned char>(buffer.at(at));
}

int JsonReader::peek()
{
    while (isBlank(peekByte()))
        take();
    return peekByte();
}

char JsonReader::take()
{
    const char byte = buffer.at(at++);
    if (byte == '\n')
        ++currentLine;
    return byte;
}

void JsonReader::require(char expected)
{
    if (peek() != expected)
        fail(u"expected '%1' and found %2"_s.arg(QLatin1Char(expected)).arg(found()));
    take();
}

bool JsonReader::next(bool first, char end)
{
    if (peek() == end) {
        take();
        return false;
    }
    if (!first)
        require(',');
    return true;
}

QByteArray JsonReader::readNumber()
{
    peek();
    QByteArray digits;
    // No number has more digits; an endless one must not fill the memory.
    constexpr qsizetype LongestNumber = 1000;
    while (isOfNumber(peekByte()) && digits.size() <= LongestNumber)
        digits += take();
    if (digits.isEmpty())
        fail(u"expected a value and found %1"_s.arg(found()));
    if (!isNumber(digits))
        fail(u"%1 is not a number"_s.arg(QString::fromLatin1(digits.left(40))));
    return digits;
}

Value JsonReader::readNumberValue()
{
    const QByteArray digits = readNumber();
    if (isInteger(digits)) {
        qint64 number = 0;
        const auto read =
            std::from_chars(digits.constData(), digits.constData() + digits.size(), number);
        if (read.ec != std::errc())
            fail(u"the integer %1 does not fit into 64 bits"_s.arg(
                QString::fromLatin1(digits.left(40))));
        return number;
    }
    bool fits = false;
    const double number = digits.toDouble(&fits);
    if (!fits)
        fail(
            u"the number %1 is too large or too small"_s.arg(QString::fromLatin1(digits.left(40))));
    return number;
}

// {"blob": "AQ=="}, and the like.
Value JsonReader::readObjectValue()
{
    beginObject();
    if (!nextMember(true))
        fail(u"a value is an object without members"_s);
    const QByteArray kind = readKey();
    if (kind == "masked")
        return readMaskedValue();
    Value value;
    if (kind == "blob") {
        value = Blob{readBase64()};
    } else if (kind == "text") {
        value = Text{readBase64()};
    } else if (kind == "secret") {
        value = Sealed{readBase64()};
    } else if (kind == "real") {
        const QByteArray number = readString();
        if (number != "infinity" && number != "-infinity")
            fail(u"a real number in quotes must be \"infinity\" or \"-infinity\""_s);
        constexpr double Infinity = std::numeric_limits<double>::infinity();
        value = number.startsWith('-') ? -Infinity : Infinity;
    } else {
        fail(u"unknown kind of value %1"_s.arg(quoted(QString::fromUtf8(kind))));
    }
    if (nextMember(false))
        fail(u"a value is an object with more than one member"_s);
    return value;
}

// The rest of {"masked": "..."} or {"masked": "...", "secret": "AQ=="}.
Value JsonReader::readMaskedValue()
{
    Masked mask{readString()};
    if (!nextMember(false))
        return mask;
    if (readKey() != "secret")
        fail(u"a masked value has an unknown member"_s);
    mask.sealed = readBase64();
    if (nextMember(false))
        fail(u"a masked value has an unknown member"_s);
    return mask;
}

void JsonReader::appendEscape(QByteArray& text)
{
    static constexpr std::string_view Letters = "\"\\/bfnrt";
    static constexpr std::string_view Meanings = "\"\\/\b\f\n\r\t";
    const int byte = peekByte();
    const auto known = byte == End ? Letters.npos : Letters.find(static_cast<char>(byte));
    if (known != Letters.npos) {
        take();
        text += Meanings[known];
        return;
    }
    if (byte != 'u')
        fail(u"a string holds an unknown escape"_s);
    take();
    QString character(1, QChar(readHexUnit()));
    if (character.front().isHighSurrogate() && peekByte() == '\\') {
        take();
        if (peekByte() == 'u') {
            take();
            character += QChar(readHexUnit());
        }
    }
    if (!character.isValidUtf16())
        fail(u"a string holds half of a surrogate pair, which must be written in base64"_s);
    text += character.toUtf8();
}

char16_t JsonReader::readHexUnit()
{
    unsigned unit = 0;
    for (int digit = 0; digit < 4; ++digit) {
        const int byte = peekByte();
        const int lower = byte | 0x20;
        if (byte >= '0' && byte <= '9')
            unit = unit * 16 + static_cast<unsigned>(byte - '0');
        else if (lower >= 'a' && lower <= 'f')
            unit = unit * 16 + static_cast<unsigned>(lower - 'a' + 10);
        else
            fail(u"\\u needs four hexadecimal digits"_s);
        take();
    }
    return static_cast<char16_t>(unit);
}

QString JsonReader::found()
{
    const int byte = peekByte();
    if (byte == End)
        return u"the end"_s;
    return u"'%1'"_s.arg(escapeBytes(QByteArray(1, static_cast<char>(byte))));
}

} // namespace velmioctl::exchange
