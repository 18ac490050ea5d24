#pragma once

#include <base/system/FileRights.h>
#include <core/KeyRing.h>

#include <QString>

#include <atomic>
#include <mutex>
#include <optional>

namespace sync::core::crypto {

/// A file with the keys of one user. Any thread may use it. All functions throw KeyError, which
/// names the file.
///
/// It is trusted only as a regular file of this user that no one else can use, in a folder where
/// no one else can exchange it.
class KeyFile
{
public:
    explicit KeyFile(QString path);

    const QString& path() const { return filePath; }
    QString lockPath() const { return filePath + QStringLiteral(".lock"); }

    /// An empty ring if the file does not exist. Checks the file each time, and reads it again only
    /// if it is another file or has changed.
    KeyRing read();

    /// Creates the folders above it, and checks them.
    void prepareFolder() const;

    /// Replaces the content by a ring in one durable step. If the present ring is empty and another
    /// process has created the file meanwhile, that one stays.
    void write(const KeyRing& present, const KeyRing& ring);

    /// Makes the file that was read last durable, whoever wrote it.
    void sync();

    /// Removes the file, durably.
    void remove();

    /// How often another content was read.
    int readings() const { return contents; }

private:
    bool isCached(const base::FileStatus& present) const;

    const QString filePath;
    std::atomic<int> contents = 0;

    std::mutex mutex; // guards all that follows
    // Kept open, so that no later file can get the inode number of the file that was read. Not on
    // Windows, where nobody could replace it, and an id is used once.
    base::FileDescriptor file{-1};
    std::optional<base::FileStatus> status; // of the file that was read
    KeyRing content;
    bool isSynced = false;
};

} // namespace sync::core::crypto
