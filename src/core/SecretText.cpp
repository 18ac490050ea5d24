#include <core/SecretText.h>

#include <QStringConverter>

namespace sync::core::crypto {

SecretText::SecretText(SecureBytes utf16)
    : units(std::make_shared<const SecureBytes>(std::move(utf16)))
{
}

std::optional<SecretText> SecretText::fromUtf8(const SecureBytes& bytes)
{
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QByteArrayView utf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
    SecureBytes room(static_cast<std::size_t>(decode.requiredSpace(utf8.size())) * sizeof(QChar));
    auto* const start = reinterpret_cast<QChar*>(room.data());
    const QChar* const end = decode.appendToBuffer(start, utf8);
    if (decode.hasError())
        return {};
    const auto size = static_cast<std::size_t>(end - start) * sizeof(QChar);
    return SecretText(SecureBytes::copyOf({room.data(), size}));
}

QString SecretText::view() const
{
    if (!units)
        return {};
    return QString::fromRawData(
        reinterpret_cast<const QChar*>(units->data()),
        static_cast<qsizetype>(units->size() / sizeof(QChar)));
}

QString SecretText::toString() const
{
    const QString text = view();
    return isNull() ? QString() : QString(text.constData(), text.size());
}

SecureBytes SecretText::toUtf8() const
{
    QStringEncoder encode(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    const QString text = view();
    SecureBytes room(static_cast<std::size_t>(encode.requiredSpace(text.size())));
    char* const start = reinterpret_cast<char*>(room.data());
    const char* const end = encode.appendToBuffer(start, text);
    return SecureBytes::copyOf({room.data(), static_cast<std::size_t>(end - start)});
}

} // namespace sync::core::crypto
