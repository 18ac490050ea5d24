#pragma once
#include <core/PosixSync.h>

namespace sync::interf {

/// The column that orders a list of files, by the database's order of its values. Files with equal
/// values come in the database's order.
enum FileConfigOrderByEnum : int {
    OrderById = 0,                        ///< By id, ascending.
    OrderByIdDesc = 1,                    ///< By id, descending.
    OrderByName = 2,                      ///< By name, ascending.
    OrderByNameDesc = 3,                  ///< By name, descending.
    OrderByFolderConfigurationId = 4,     ///< By folder id, ascending.
    OrderByFolderConfigurationIdDesc = 5, ///< By folder id, descending.
    OrderByClientPath = 6,                ///< By client path, ascending.
    OrderByClientPathDesc = 7,            ///< By client path, descending.
    OrderByServerPath = 8,                ///< By server path, ascending.
    OrderByServerPathDesc = 9,            ///< By server path, descending.
    OrderByCheckSum = 10,                 ///< By checksum, ascending.
    OrderByCheckSumDesc = 11,             ///< By checksum, descending.
    OrderByCreatedDateTime = 12,          ///< By creation time, ascending.
    OrderByCreatedDateTimeDesc = 13,      ///< By creation time, descending.
    OrderByLastModifiedDateTime = 14,     ///< By last modification, ascending.
    OrderByLastModifiedDateTimeDesc = 15, ///< By last modification, descending.
    OrderBySyncStatus = 16,               ///< By status, ascending.
    OrderBySyncStatusDesc = 17,           ///< By status, descending.
    OrderByLastOperationType = 18,        ///< By last operation's type, ascending.
    OrderByLastOperationTypeDesc = 19,    ///< By last operation's type, descending.
    OrderBySize = 20,                     ///< By size, ascending.
    OrderBySizeDesc = 21,                 ///< By size, descending.
};

} // namespace sync::interf
