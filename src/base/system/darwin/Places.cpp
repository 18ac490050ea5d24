#include <base/system/Places.h>

#include <QStandardPaths>

namespace sync::base {

QString stateFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
}

} // namespace sync::base
