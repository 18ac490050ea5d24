#pragma once

class QString;
class QStringView;

namespace sync::base {

/// Why a file or folder cannot have this name on Windows, such as "ends with a dot"; empty if it
/// can.
QString windowsNameProblem(QStringView name);

} // namespace sync::base
