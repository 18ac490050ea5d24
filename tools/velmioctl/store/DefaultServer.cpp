#include <velmioctl/store/DefaultServer.h>

#include <database/SqliteDatabaseFactory.h>

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace velmioctl {

QSettings userSettings()
{
    return QSettings(QSettings::UserScope, u"Corvanta"_s, u"Corvanta Sync"_s);
}

long long defaultServerId()
{
    return userSettings().value(DefaultServerKey, InitialDefaultServerId).toLongLong();
}

bool defaultServerIsOf(const QString& databasePath)
{
    return QFileInfo(databasePath) ==
           QFileInfo(sync::database::SqliteDatabaseFactory::defaultPath());
}

} // namespace velmioctl
