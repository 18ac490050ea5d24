#include <base/system/Places.h>

#include <QDir>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace sync::base {

QString stateFolder()
{
    // As Qt 6.7 or newer has it.
    if (QStandardPaths::isTestModeEnabled())
        return QDir::homePath() + u"/.qttest/state"_s;
    const QString folder = qEnvironmentVariable("XDG_STATE_HOME");
    // A relative path is ignored (specifications.freedesktop.org/basedir-spec).
    return QDir::isAbsolutePath(folder) ? folder : QDir::homePath() + u"/.local/state"_s;
}

} // namespace sync::base
