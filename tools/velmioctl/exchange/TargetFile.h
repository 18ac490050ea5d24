#pragma once

#include <QSaveFile>

namespace velmioctl::exchange {

/// A file that a command writes, for its user alone. It takes its name when it is whole, and is not
/// there before. All throws CommandError.
class TargetFile
{
public:
    /// Refuses to take the place of anything but an earlier export.
    explicit TargetFile(const QString& path);

    QString path() const { return file.fileName(); }
    void write(const QByteArray& bytes);
    void commit();

private:
    [[noreturn]] void fail() const;

    QSaveFile file;
};

} // namespace velmioctl::exchange
