#pragma once

#include <base/system/FileDescriptor.h>

#include <QByteArrayView>
#include <QString>

#include <optional>
#include <string>

namespace sync::base {

/// Files, by the calls of the system. What fails sets errno on every system: the Windows half
/// translates the system's code to the errno that means the same.

enum class FileKind {
    File,
    Folder,
    Link, ///< A symbolic link, and whatever else leads to another place.
    Other,
    Unknown, ///< An entry of a folder that could not be examined.
};

/// What a call does if the last name of a path is a symbolic link.
enum class Links { Follow, Keep };

/// Since 1970, UTC.
struct FileTime
{
    qint64 seconds = 0;
    qint64 nanoseconds = 0; ///< The part below a second.

    qint64 toMs() const { return seconds * 1000 + nanoseconds / 1'000'000; }
    bool operator==(const FileTime&) const = default;
};

/// How the system names a file: two names with the same id are one file.
struct FileId
{
    quint64 device = 0;
    quint64 inode = 0; ///< Folded to this size where the system has longer ones.

    bool operator==(const FileId&) const = default;
};

struct FileStatus
{
    FileKind kind = FileKind::Other;
    qint64 size = 0;
    FileTime modified;
    FileTime changed;                ///< The last change of the metadata.
    std::optional<FileTime> created; ///< Nothing where the file system does not know it.
    FileId id;
};

std::optional<FileStatus> statusOf(const QString& path, Links links);
std::optional<FileStatus> statusOf(NativeFile file);
/// Of `name`, as FolderReader gives it, in an open folder; of the link itself if it is one.
std::optional<FileStatus> statusOf(NativeFile folder, const char* name);

/// Opens an existing file for reading. With Links::Keep a link fails with ELOOP, and a pipe opens
/// without waiting for its writer.
FileDescriptor openForReading(const QString& path, Links links);

/// Creates a file for writing that only its owner may use, whatever the umask. The last six
/// characters of `path` are replaced so that the name is new.
FileDescriptor createUniqueFile(QString& path);

/// The number of bytes read, 0 at the end, and -1 if it fails.
qint64 readBytes(NativeFile file, void* bytes, std::size_t size);

/// Writes all bytes.
bool writeBytes(NativeFile file, QByteArrayView bytes);

/// Returns when all that was written is on the medium, and not only in a cache of the drive.
bool syncToMedium(NativeFile file);

/// Gives a file a new name. Fails with EEXIST if something has that name.
bool renameToNew(const QString& from, const QString& to);

/// Gives a file the name of another one, which it replaces in one step.
bool renameOver(const QString& from, const QString& to);

bool removeFile(const QString& path);

/// For mayAccess(); their sum asks for all of them.
constexpr int Existence = 0;
constexpr int EnterAccess = 1;
constexpr int WriteAccess = 2;
constexpr int ReadAccess = 4;

/// True if this process may use a file or folder, judged by the rights that apply when it is
/// opened.
bool mayAccess(const QString& path, int access);

/// How long a path and each name in it may be, in the unit in which the system counts.
struct PathLimits
{
    qsizetype path;
    qsizetype name;
    QString unit;       ///< Such as "bytes".
    bool reservesNames; ///< Programs cannot use a name with a windowsNameProblem().
};
PathLimits pathLimits();

/// The length of a path or name in that unit.
qsizetype lengthOf(const QString& pathOrName);

/// An absolute path as a library takes it that opens files itself, and back.
QByteArray pathForLibrary(const QString& path);
QString pathFromLibrary(const char* path);

/// False on a system that lets nobody replace or remove a file that is open.
bool replacesOpenFiles();

/// True on a system that gives a new file the rights of its folder, and not those that SQLite asks
/// for the files beside a database.
bool newFilesHaveRightsOfFolder();

/// The errno that means the same as a code of the system, such as one that SQLite reports.
int errnoOf(int systemCode);

/// True if an errno says that a disk or a quota is full.
bool isOutOfSpace(int error);

} // namespace sync::base
