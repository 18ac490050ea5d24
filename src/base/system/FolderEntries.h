#pragma once

#include <base/system/Files.h>

#include <memory>
#include <string>

namespace sync::base {

/// Reads the entries of a folder, without "." and "..", in no order.
///
/// Paths and names are those of the disk, as UTF-8: on POSIX its bytes, which may be invalid UTF-8,
/// and on Windows may contain encoded surrogates without a partner.
class FolderReader
{
public:
    struct Entry
    {
        const char* name; ///< Valid until the next entry is read.
        FileKind kind;
    };

    FolderReader(const std::string& path, Links links);
    ~FolderReader();
    FolderReader(const FolderReader&) = delete;
    FolderReader& operator=(const FolderReader&) = delete;

    /// False, with errno set, if it could not be opened: ENOENT, ENOTDIR or ELOOP if there is no
    /// such folder.
    bool isOpen() const;

    /// For statusOf(); open as long as this lives.
    NativeFile folder() const;

    /// Null at the end, and if the folder cannot be read further: errno is 0 only at the end.
    const Entry* next();

private:
    struct State;
    const std::unique_ptr<State> state;
    Entry entry{};
};

/// True if the system's own file systems may return a name in another normal form than the one in
/// which it was given.
bool decomposesNames();

/// Creates a folder that only its owner may use, whatever the umask. Fails with EEXIST if something
/// has that name.
bool createOwnFolder(const QString& path);

/// Makes new and renamed entries of a folder durable. True without doing anything where the folder
/// may be written but not read, or its file system does not sync folders.
bool syncEntries(const QString& folder);

/// False if the file system of a folder takes no new file, however small. A disk can run out of
/// inodes before it runs out of space.
bool hasFreeInode(const QString& folder);

} // namespace sync::base
