#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QObject>

namespace sync::config {

Q_NAMESPACE_EXPORT(VELMIO_CONFIGURATION_EXPORT)

/// State of a folder against its counterpart on the server. Other values pass through unchanged.
enum FolderSynchronizationStatus : int {
    FolderStatusUnknown = 0,
    FolderSyncing = 1,
    FolderNotSynced = 2, ///< Out of sync.
    FolderCreated = 3,   ///< Registered by the library itself, not yet handled by the client.
};
Q_ENUM_NS(FolderSynchronizationStatus)

/// How much of a root folder is synchronised.
enum SynchronizationFolderOption : int {
    FolderOptionUnknown = 0,
    TopLevelOnly = 1, ///< Only the files that lie directly in the folder.
    WithSubfolders = 2,
};
Q_ENUM_NS(SynchronizationFolderOption)

/// The operation that was last carried out on a folder; the values belong to the client.
enum FolderOperationType : int { NoFolderOperation = 0 };
Q_ENUM_NS(FolderOperationType)

/// The kind of drive that a folder is synchronised with; the values belong to the client.
enum DriveType : int { DefaultDrive = 0 };
Q_ENUM_NS(DriveType)

/// How a folder is synchronised; the values belong to the client.
enum FolderSyncOption : int { DefaultSyncOption = 0 };
Q_ENUM_NS(FolderSyncOption)

/// The user's rights on a folder, as a sum of flags.
enum FolderPrivileges : int {
    NoPrivileges = 0,
    ViewPrivilege = 1,
    DownloadPrivilege = 2,
    UpdatePrivilege = 4,
    DeletePrivilege = 8,
    SharePrivilege = 16,
    AllPrivileges = 31,
};
Q_FLAG_NS(FolderPrivileges)

constexpr FolderPrivileges operator|(FolderPrivileges left, FolderPrivileges right) noexcept
{
    return static_cast<FolderPrivileges>(static_cast<int>(left) | static_cast<int>(right));
}

/// The table in which a file's record is kept. Any other value names no table.
enum FileConfigurationType : int {
    OrdinaryFile = 0,
    GeneratedFile = 1,
    BaseFile = 2, ///< A base (backup) copy.
};
Q_ENUM_NS(FileConfigurationType)

/// State of a file against its counterpart on the server. Other values pass through unchanged.
enum FileSynchronizationStatus : int {
    FileStatusUnknown = 0,
    FileSyncing = 1,
    FileNotSynced = 2,
    FileCreated = 3, ///< A linked file that the library registered by itself.
};
Q_ENUM_NS(FileSynchronizationStatus)

/// The kind of a schedule; the values belong to the client and are never interpreted here.
enum SyncSchedule : int { DefaultSchedule = 0 };
Q_ENUM_NS(SyncSchedule)

} // namespace sync::config
