#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace sync::test {

inline QByteArray fuzzBytes(const std::uint8_t* bytes, std::size_t size)
{
    return {reinterpret_cast<const char*>(bytes), static_cast<qsizetype>(size)};
}

/// The fuzzer's bytes as text. They are UTF-8, except that the bytes F8 to FF stand for lone
/// surrogates and other code units that a QString can hold and UTF-8 cannot.
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

/// A folder for the files of a fuzz target, in memory if the system supports it.
inline const QString& fuzzFolder()
{
    static const QTemporaryDir folder(
        (QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm")
                                                   : QDir::tempPath()) +
        QStringLiteral("/velmio-fuzz-XXXXXX"));
    static const QString path = folder.path();
    return path;
}

inline QByteArray fuzzRead(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Aborts the process if a condition is false, so that the fuzzer keeps the input.
inline void fuzzRequire(bool holds, int line = __builtin_LINE())
{
    if (holds)
        return;
    std::fprintf(stderr, "The condition in line %d is false.\n", line);
    std::abort();
}

inline void fuzzWrite(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    fuzzRequire(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}

/// Empties the folder of the target.
inline void fuzzRemoveFiles()
{
    QDir(fuzzFolder()).removeRecursively();
    QDir().mkpath(fuzzFolder());
}

} // namespace sync::test
