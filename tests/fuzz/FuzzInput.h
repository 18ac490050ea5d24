#pragma once

#include <QByteArrayView>
#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace sync::test {

/// The text that the fuzzer's bytes stand for: UTF-8, but the bytes F8 to FF are the lone
/// surrogates and odd code units that a QString can hold and UTF-8 cannot.
inline QString fuzzText(const std::uint8_t* bytes, std::size_t size)
{
    static constexpr char16_t Odd[] = {0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xFFFE, 0xFFFF, 0, 0xFEFF};
    QString text;
    QByteArray run;
    for (std::size_t index = 0; index < size; ++index) {
        if (bytes[index] < 0xF8) {
            run.append(static_cast<char>(bytes[index]));
            continue;
        }
        text += QString::fromUtf8(run);
        text += QChar(Odd[bytes[index] - 0xF8]);
        run.clear();
    }
    return text + QString::fromUtf8(run);
}

/// Ends the process when something does not hold that should, so that the fuzzer keeps the input.
inline void fuzzRequire(bool holds, int line = __builtin_LINE())
{
    if (holds)
        return;
    std::fprintf(stderr, "Line %d does not hold.\n", line);
    std::abort();
}

} // namespace sync::test
