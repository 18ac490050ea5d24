#pragma once
#include <core/PosixSync.h>

namespace sync::interf {

/// How a list of files is ordered: a column, ascending or descending.
enum FileConfigOrderByEnum : int {
    OrderById = 0,
    OrderByIdDesc = 1,
    OrderByName = 2,
    OrderByNameDesc = 3,
    OrderByFolderConfigurationId = 4,
    OrderByFolderConfigurationIdDesc = 5,
    OrderByClientPath = 6,
    OrderByClientPathDesc = 7,
    OrderByServerPath = 8,
    OrderByServerPathDesc = 9,
    OrderByCheckSum = 10,
    OrderByCheckSumDesc = 11,
    OrderByCreatedDateTime = 12,
    OrderByCreatedDateTimeDesc = 13,
    OrderByLastModifiedDateTime = 14,
    OrderByLastModifiedDateTimeDesc = 15,
    OrderBySyncStatus = 16,
    OrderBySyncStatusDesc = 17,
    OrderByLastOperationType = 18,
    OrderByLastOperationTypeDesc = 19,
    OrderBySize = 20,
    OrderBySizeDesc = 21,
};

} // namespace sync::interf
