#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QObject>

/// The records, and the managers that read and write them.
namespace sync::config {

Q_NAMESPACE_EXPORT(VELMIO_CONFIGURATION_EXPORT)

/// State of a folder compared with the server. Other values are stored unchanged.
enum FolderSynchronizationStatus : int {
    FolderStatusUnknown = 0, ///< Not set by the library.
    FolderSyncing = 1,       ///< Being synchronised; the value of a new record.
    FolderNotSynced = 2,     ///< Out of sync.
    FolderCreated = 3,       ///< Added by the library, not yet handled by the client.
};
Q_ENUM_NS(FolderSynchronizationStatus)

/// How much of a root folder is synchronised.
enum SynchronizationFolderOption : int {
    FolderOptionUnknown = 0, ///< Not set by the library, treated like WithSubfolders.
    TopLevelOnly = 1,        ///< Only the direct files of the folder; the value of a new record.
    WithSubfolders = 2,      ///< The files of all folders of the tree.
};
Q_ENUM_NS(SynchronizationFolderOption)

/// The last operation on a folder; the client defines the values.
enum FolderOperationType : int {
    NoFolderOperation = 0, ///< The value of a new record.
};
Q_ENUM_NS(FolderOperationType)

/// The kind of drive of a folder; the client defines the values.
enum DriveType : int {
    DefaultDrive = 0, ///< The value of a new record.
};
Q_ENUM_NS(DriveType)

/// How a folder is synchronised; the client defines the values.
enum FolderSyncOption : int {
    DefaultSyncOption = 0, ///< The value of a new record.
};
Q_ENUM_NS(FolderSyncOption)

/// The user's rights on a folder or file, as a sum of flags.
enum FolderPrivileges : int {
    NoPrivileges = 0,      ///< No rights.
    ViewPrivilege = 1,     ///< To see the content.
    DownloadPrivilege = 2, ///< To download the content.
    UpdatePrivilege = 4,   ///< To change the content.
    DeletePrivilege = 8,   ///< To remove the folder or file.
    SharePrivilege = 16,   ///< To share it with others.
    AllPrivileges = 31,    ///< All five rights; the value of a new record.
};
Q_FLAG_NS(FolderPrivileges)

/// The rights of both operands.
constexpr FolderPrivileges operator|(FolderPrivileges left, FolderPrivileges right) noexcept
{
    return static_cast<FolderPrivileges>(static_cast<int>(left) | static_cast<int>(right));
}

/// The type of a file, which chooses its table. Other values have no table.
enum FileConfigurationType : int {
    OrdinaryFile = 0,  ///< A synchronised file; the value of a new record.
    GeneratedFile = 1, ///< A file that the client generated from an ordinary file.
    BaseFile = 2,      ///< A base (backup) copy of an ordinary file.
};
Q_ENUM_NS(FileConfigurationType)

/// State of a file compared with the server. Other values are stored unchanged.
enum FileSynchronizationStatus : int {
    FileStatusUnknown = 0, ///< Not set by the library.
    FileSyncing = 1,       ///< Being synchronised.
    FileNotSynced = 2,     ///< Out of sync; the value of a new record.
    FileCreated = 3,       ///< A linked file that the library added.
};
Q_ENUM_NS(FileSynchronizationStatus)

/// The kind of a schedule; the client defines the values, and the library never interprets them.
enum SyncSchedule : int {
    DefaultSchedule = 0, ///< The value of a new record.
};
Q_ENUM_NS(SyncSchedule)

} // namespace sync::config
