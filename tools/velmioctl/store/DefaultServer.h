#pragma once

#include <QSettings>
#include <QString>

namespace velmioctl {

/// The key of the default server's id in userSettings().
inline const QString DefaultServerKey = QStringLiteral("Velmio/DefaultServerConfigurationId");

/// The default server if nothing is set.
constexpr int InitialDefaultServerId = 1;

/// Where the library looks for the default server.
QSettings userSettings();

long long defaultServerId();

/// True if the setting means this database: in another place than the default one, such as a
/// customer's copy, the same id is another server.
bool defaultServerIsOf(const QString& databasePath);

} // namespace velmioctl
