#include <base/Utf8.h>

#include <base/AsciiCopy.h>

#include <QStringEncoder>

#include <cstring>

namespace sync::base {

namespace {

constexpr char ByteOrderMark[] = "\xEF\xBB\xBF";

bool isUnpairedSurrogate(QStringView text, qsizetype index)
{
    const QChar unit = text[index];
    if (unit.isHighSurrogate())
        return index + 1 == text.size() || !text[index + 1].isLowSurrogate();
    return unit.isLowSurrogate() && (index == 0 || !text[index - 1].isHighSurrogate());
}

// Null when the text has unpaired surrogates.
char* encodeWellFormed(QStringView text, char* target)
{
    QStringEncoder encoder(QStringEncoder::Utf8, QStringEncoder::Flag::Stateless);
    char* const end = encoder.appendToBuffer(target, text);
    return encoder.hasError() ? nullptr : end;
}

char* encodeSurrogate(char16_t unit, char* target)
{
    *target++ = static_cast<char>(0xE0 | unit >> 12);
    *target++ = static_cast<char>(0x80 | (unit >> 6 & 0x3F));
    *target++ = static_cast<char>(0x80 | (unit & 0x3F));
    return target;
}

[[gnu::noinline]] char* encodeOtherUtf8(QStringView text, char* target)
{
    if (char* const end = encodeWellFormed(text, target))
        return end;
    qsizetype start = 0;
    for (qsizetype index = 0; index < text.size(); ++index) {
        if (!isUnpairedSurrogate(text, index))
            continue;
        target = encodeWellFormed(text.sliced(start, index - start), target);
        target = encodeSurrogate(text[index].unicode(), target);
        start = index + 1;
    }
    return encodeWellFormed(text.sliced(start), target);
}

// The next three bytes that stand for a surrogate, or null.
const char* findSurrogate(const char* begin, const char* end)
{
    const auto byte = [](char character) { return static_cast<unsigned char>(character); };
    while (end - begin >= 3) {
        const auto size = static_cast<std::size_t>(end - begin - 2);
        const auto* const found = static_cast<const char*>(std::memchr(begin, 0xED, size));
        if (!found)
            return nullptr;
        if (byte(found[1]) >= 0xA0 && byte(found[1]) <= 0xBF && (byte(found[2]) & 0xC0) == 0x80)
            return found;
        begin = found + 1;
    }
    return nullptr;
}

QString decodeWellFormed(const char* bytes, qsizetype size)
{
    // QString::fromUtf8() drops a byte order mark at the start, and a stored U+FEFF is data.
    if (size >= 3 && std::memcmp(bytes, ByteOrderMark, 3) == 0)
        return QChar(QChar::ByteOrderMark) + decodeWellFormed(bytes + 3, size - 3);
    return QString::fromUtf8(bytes, size);
}

[[gnu::noinline]] QString decodeOtherUtf8(const char* bytes, qsizetype size)
{
    const char* const end = bytes + size;
    const char* surrogate = findSurrogate(bytes, end);
    if (!surrogate)
        return decodeWellFormed(bytes, size);

    QString text;
    for (; surrogate; surrogate = findSurrogate(bytes, end)) {
        text += decodeWellFormed(bytes, surrogate - bytes);
        text += QChar(
            static_cast<char16_t>(0xD000 | (surrogate[1] & 0x3F) << 6 | (surrogate[2] & 0x3F)));
        bytes = surrogate + 3;
    }
    return text + decodeWellFormed(bytes, end - bytes);
}

} // namespace

char* encodeUtf8(QStringView text, char* target)
{
    if (copyAscii(text.utf16(), text.size(), target))
        return target + text.size();
    return encodeOtherUtf8(text, target);
}

QString decodeUtf8(const char* bytes, qsizetype size)
{
    QString text(size, Qt::Uninitialized); // Empty and not null without bytes.
    auto* const units = size > 0 ? reinterpret_cast<char16_t*>(text.data()) : nullptr;
    if (!copyAscii(reinterpret_cast<const unsigned char*>(bytes), size, units))
        text = decodeOtherUtf8(bytes, size);
    return text;
}

} // namespace sync::base
