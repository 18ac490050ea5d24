#include <velmioctl/exchange/Value.h>

#include <QLocale>

#include <bit>
#include <cmath>

namespace velmioctl::exchange {

namespace {

QByteArray escaped(char byte)
{
    switch (byte) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\b':
        return "\\b";
    case '\f':
        return "\\f";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        return "\\u" + QByteArray::number(byte, 16).rightJustified(4, '0');
    }
}

bool needsEscape(char byte)
{
    return static_cast<unsigned char>(byte) < 0x20 || byte == '"' || byte == '\\';
}

// For the kinds of values that JSON does not have.
QByteArray object(const char* kind, const QByteArray& text)
{
    return QByteArray("{\"") + kind + "\": \"" + text + "\"}";
}

struct JsonOf
{
    QByteArray operator()(Null) const { return "null"; }
    QByteArray operator()(LeftOut) const { return {}; }
    QByteArray operator()(qint64 number) const { return QByteArray::number(number); }
    QByteArray operator()(double number) const
    {
        if (std::isinf(number))
            return object("real", number > 0 ? "infinity" : "-infinity");
        QByteArray digits = QByteArray::number(number, 'g', QLocale::FloatingPointShortest);
        // Without a fraction it would be read as an integer.
        if (!digits.contains('.') && !digits.contains('e'))
            digits += ".0";
        return digits;
    }
    QByteArray operator()(const Text& text) const
    {
        return text.bytes.isValidUtf8() ? quotedJson(text.bytes)
                                        : object("text", text.bytes.toBase64());
    }
    QByteArray operator()(const Blob& blob) const { return object("blob", blob.bytes.toBase64()); }
    QByteArray operator()(const Sealed& secret) const
    {
        return object("secret", secret.bytes.toBase64());
    }
    QByteArray operator()(const Masked& mask) const
    {
        const QByteArray shown = "{\"masked\": " + quotedJson(mask.shown);
        return mask.sealed.isEmpty() ? shown + '}'
                                     : shown + ", \"secret\": \"" + mask.sealed.toBase64() + "\"}";
    }
};

} // namespace

bool isSame(const Value& left, const Value& right)
{
    const auto* const first = std::get_if<double>(&left);
    const auto* const second = std::get_if<double>(&right);
    // By their bits, because 0.0 and -0.0 compare equal.
    if (first && second)
        return std::bit_cast<quint64>(*first) == std::bit_cast<quint64>(*second);
    return left == right;
}

QByteArray toJson(const Value& value)
{
    return std::visit(JsonOf(), value);
}

QByteArray quotedJson(const QByteArray& text)
{
    QByteArray json;
    json.reserve(text.size() + 2);
    json += '"';
    for (const char byte : text) {
        if (needsEscape(byte))
            json += escaped(byte);
        else
            json += byte;
    }
    json += '"';
    return json;
}

} // namespace velmioctl::exchange
