#include <velmioctl/exchange/Masks.h>

#include <velmioctl/store/Credentials.h>

namespace velmioctl::exchange {

namespace {

// As records without properties have them.
bool isWithoutProperties(const QByteArray& xml)
{
    return xml.isEmpty() || xml == "<!DOCTYPE NameValueXml>\n<NameValueXml/>\n";
}

// Byte by byte, because all that matters in a URL is ASCII, and a text may be of any encoding.
QByteArray withoutCredentials(const QByteArray& bytes, bool isUrl)
{
    if (!isUrl && !bytes.contains("://"))
        return bytes;
    const QString text = QString::fromLatin1(bytes);
    return (isUrl ? urlWithoutCredentials(text) : velmioctl::withoutCredentials(text)).toLatin1();
}

const QByteArray* bytesOf(const Value& value)
{
    if (const auto* const text = std::get_if<Text>(&value))
        return &text->bytes;
    const auto* const blob = std::get_if<Blob>(&value);
    return blob ? &blob->bytes : nullptr;
}

} // namespace

Value masked(const Column& column, const Value& value)
{
    if (column.isSecret())
        return LeftOut();
    const QByteArray* const bytes = bytesOf(value);
    if (!bytes)
        return value;
    if (column.kind == ValueKind::Properties)
        return isWithoutProperties(*bytes) ? value : Masked();
    const QByteArray shown = withoutCredentials(*bytes, column.kind == ValueKind::Url);
    if (shown == *bytes)
        return value;
    return std::holds_alternative<Text>(value) && shown.isValidUtf8() ? Masked{shown} : Masked();
}

Value sent(const Column& column, const Value& value)
{
    Value seen = masked(column, value);
    if (std::holds_alternative<LeftOut>(seen))
        return Null();
    const auto* const mask = std::get_if<Masked>(&seen);
    if (!mask)
        return seen;
    return mask->shown.isEmpty() ? Value(Null()) : Value(Text{mask->shown});
}

QByteArray shownOf(const Column& column, const Value& value)
{
    const Value seen = masked(column, value);
    if (const auto* const mask = std::get_if<Masked>(&seen))
        return mask->shown;
    const auto* const text = std::get_if<Text>(&seen);
    return text ? text->bytes : toJson(seen);
}

} // namespace velmioctl::exchange
