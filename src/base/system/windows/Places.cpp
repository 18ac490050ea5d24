#include <base/system/Places.h>

#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace sync::base {

QString stateFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/State"_s;
}

} // namespace sync::base
