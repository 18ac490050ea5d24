#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

namespace sync::base {
class PartialFile;
} // namespace sync::base

namespace velmioctl::exchange {

/// A file that a command writes, readable only by its user. It appears under its name when it is
/// complete and durable. All functions throw CommandError.
class TargetFile
{
public:
    /// Replaces only an earlier export, and writes to no folder that other users may change.
    explicit TargetFile(const QString& path);
    ~TargetFile();

    const QString& path() const { return filePath; }
    void write(const QByteArray& bytes);
    void commit();

private:
    void requireOwnFolder(const QString& folder) const;
    template <class Action>
    void withWritingErrors(const Action& action) const;

    const QString filePath;
    const bool replaces;
    std::unique_ptr<sync::base::PartialFile> file;
    QByteArray pending; // not written yet, because a call for each row would be slow
};

} // namespace velmioctl::exchange
