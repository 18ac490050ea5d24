#pragma once

#include <QSaveFile>

namespace velmioctl::exchange {

/// A file that a command writes, readable only by its user. It appears under its name when it is
/// complete. All functions throw CommandError.
class TargetFile
{
public:
    /// Replaces only an earlier export.
    explicit TargetFile(const QString& path);

    QString path() const { return file.fileName(); }
    void write(const QByteArray& bytes);
    void commit();

private:
    [[noreturn]] void fail() const;

    QSaveFile file;
};

} // namespace velmioctl::exchange
