#pragma once

#include <core/SecureBytes.h>

#include <QByteArray>

namespace velmioctl::exchange {

/// The code at the end of an export with secrets, which nobody can make for a changed text without
/// the passphrase. Takes the text piece by piece.
class ExportSeal
{
public:
    /// `key` has the size of a key of crypto_generichash.
    explicit ExportSeal(const unsigned char* key);

    /// Takes a piece of the text before the end.
    void add(const QByteArray& text);

    /// The end of the export, whose length is always the same. Nothing can be added any more.
    QByteArray end();

    /// Takes a piece of a text with its end.
    void addRead(const QByteArray& text);

    /// True if what was read ends in the right code. Nothing can be added any more.
    bool matchesRead();

private:
    sync::core::crypto::SecureBytes state; // of crypto_generichash; it begins with the key
    QByteArray lastRead;                   // may be the end
};

} // namespace velmioctl::exchange
