#include <core/Constants.h>

using namespace Qt::StringLiterals;

namespace sync::core::consts {

const QString TEMP_FOLDER_NAME = u".{SyncTemp}"_s;
const QString BASE_FOLDER_NAME = u".{SyncBackup}"_s;
const QString BASE_FILE_EXTN = u"BASE"_s;
const QString TEMP_FILE_EXTN = u"TMP"_s;
const QString DELTA_FILE_EXTN = u"DELTA"_s;

} // namespace sync::core::consts
