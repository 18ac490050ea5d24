#pragma once

#include <QString>

namespace sync::base {

/// The most bytes that encodeUtf8() writes for a code unit.
constexpr qsizetype MaximumUtf8PerUnit = 3;

/// Writes a text as UTF-8 and returns the end of what was written. An unpaired surrogate becomes
/// the three bytes that its code point would have, as in WTF-8 (simonsapin.github.io/wtf-8), so
/// that every QString survives.
char* encodeUtf8(QStringView text, char* target);

/// The text that encodeUtf8() has written; never null. Bytes that are not UTF-8 read as U+FFFD.
QString decodeUtf8(const char* bytes, qsizetype size);

} // namespace sync::base
