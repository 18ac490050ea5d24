#pragma once

#include <QByteArray>
#include <QByteArrayList>

/// A text, and encodings of it that a search for the text itself would miss.
inline QByteArrayList disguises(const QByteArray& text)
{
    QByteArrayList all{text, text.toHex(), text.toHex().toUpper()};
    // In base64 it looks different after none, one and two other bytes.
    for (qsizetype offset = 0; offset < 3; ++offset) {
        const QByteArray encoded = (QByteArray(offset, '\0') + text).toBase64();
        all += encoded.mid(offset == 0 ? 0 : 4, encoded.size() - 8);
    }
    QByteArray wide;
    for (const char byte : text)
        wide += QByteArray(1, byte) + '\0';
    return all << wide;
}
