#pragma once

#include <QString>

namespace velmioctl::doctor {

/// The tables as findings and their remedies name them.
inline const QString ServerTable = QStringLiteral("ServerConfiguration");
inline const QString SignInTable = QStringLiteral("AuthenticationConfiguration");
inline const QString ProductTable = QStringLiteral("ProductConfiguration");
inline const QString FolderTable = QStringLiteral("FolderConfiguration");
inline const QString FileTable = QStringLiteral("FileConfiguration");
inline const QString ScheduleTable = QStringLiteral("Schedules");

} // namespace velmioctl::doctor
