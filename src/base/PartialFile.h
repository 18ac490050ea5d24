#pragma once

#include <base/system/FileDescriptor.h>

#include <QByteArrayView>
#include <QString>

namespace sync::base {

/// A file that is written beside its final place. Unless it is published, it is removed together
/// with what SQLite keeps beside a database.
///
/// All functions throw FileError, which names the target.
class PartialFile
{
public:
    /// Creates it with mode 0600, whatever the umask.
    explicit PartialFile(const QString& target);
    ~PartialFile();

    PartialFile(const PartialFile&) = delete;
    PartialFile& operator=(const PartialFile&) = delete;

    const QString& path() const { return name; }
    const QString& targetPath() const { return target; }

    void append(QByteArrayView bytes);

    /// Makes it durable under its name. Throws with EEXIST if a file has that name. If only the
    /// folder cannot be synced, this throws with the file in place.
    void publish();

    /// The same, but replaces an existing file. If only the folder cannot be synced, this throws
    /// with the new file in place.
    void publishOver();

private:
    void sync();
    [[noreturn]] void fail() const;

    const QString target;
    QString name; // empty once it is published
    FileDescriptor descriptor;
};

} // namespace sync::base
