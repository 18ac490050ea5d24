#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QObject>

/// The records, and the managers that read and write them.
namespace sync::config {

Q_NAMESPACE_EXPORT(VELMIO_CONFIGURATION_EXPORT)

/// State of a folder against its counterpart on the server. Other values pass through unchanged.
enum FolderSynchronizationStatus : int {
    FolderStatusUnknown = 0, ///< Not set by the library.
    FolderSyncing = 1,       ///< Being synchronised; a new record's.
    FolderNotSynced = 2,     ///< Out of sync.
    FolderCreated = 3,       ///< Registered by the library itself, not yet handled by the client.
};
Q_ENUM_NS(FolderSynchronizationStatus)

/// How much of a root folder is synchronised.
enum SynchronizationFolderOption : int {
    FolderOptionUnknown = 0, ///< Not set by the library, and treated like WithSubfolders.
    TopLevelOnly = 1,        ///< Only the files that lie directly in the folder; a new record's.
    WithSubfolders = 2,      ///< The files of all folders of the tree.
};
Q_ENUM_NS(SynchronizationFolderOption)

/// The operation that was last carried out on a folder; the values belong to the client.
enum FolderOperationType : int {
    NoFolderOperation = 0, ///< The value of a new record.
};
Q_ENUM_NS(FolderOperationType)

/// The kind of drive that a folder is synchronised with; the values belong to the client.
enum DriveType : int {
    DefaultDrive = 0, ///< The value of a new record.
};
Q_ENUM_NS(DriveType)

/// How a folder is synchronised; the values belong to the client.
enum FolderSyncOption : int {
    DefaultSyncOption = 0, ///< The value of a new record.
};
Q_ENUM_NS(FolderSyncOption)

/// The user's rights on a folder or file, as a sum of flags.
enum FolderPrivileges : int {
    NoPrivileges = 0,      ///< None of the rights.
    ViewPrivilege = 1,     ///< To see what is in it.
    DownloadPrivilege = 2, ///< To fetch its content.
    UpdatePrivilege = 4,   ///< To change its content.
    DeletePrivilege = 8,   ///< To remove it.
    SharePrivilege = 16,   ///< To share it with others.
    AllPrivileges = 31,    ///< All five of them; a new record's.
};
Q_FLAG_NS(FolderPrivileges)

/// The rights of both.
constexpr FolderPrivileges operator|(FolderPrivileges left, FolderPrivileges right) noexcept
{
    return static_cast<FolderPrivileges>(static_cast<int>(left) | static_cast<int>(right));
}

/// The table in which a file's record is kept. Any other value names no table.
enum FileConfigurationType : int {
    OrdinaryFile = 0,  ///< A synchronised file; a new record's.
    GeneratedFile = 1, ///< A file that the client generated as companion of an ordinary one.
    BaseFile = 2,      ///< A base (backup) copy of an ordinary one.
};
Q_ENUM_NS(FileConfigurationType)

/// State of a file against its counterpart on the server. Other values pass through unchanged.
enum FileSynchronizationStatus : int {
    FileStatusUnknown = 0, ///< Not set by the library.
    FileSyncing = 1,       ///< Being synchronised.
    FileNotSynced = 2,     ///< Out of sync; a new record's.
    FileCreated = 3,       ///< A linked file that the library registered by itself.
};
Q_ENUM_NS(FileSynchronizationStatus)

/// The kind of a schedule; the values belong to the client and are never interpreted here.
enum SyncSchedule : int {
    DefaultSchedule = 0, ///< The value of a new record.
};
Q_ENUM_NS(SyncSchedule)

} // namespace sync::config
