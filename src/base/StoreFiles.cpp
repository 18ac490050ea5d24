#include <base/StoreFiles.h>

#include <QFileInfo>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace sync::base {

bool isDatabaseFileName(const QString& name, const QString& databaseName)
{
    static const std::array Suffixes{u""_s, u"-wal"_s, u"-shm"_s, u"-journal"_s};
    return std::any_of(Suffixes.begin(), Suffixes.end(), [&](const QString& suffix) {
        return name == databaseName + suffix;
    });
}

bool isDatabaseFile(const QString& path, const QString& databasePath)
{
    const QFileInfo file(path);
    const QFileInfo database(QFileInfo(databasePath).canonicalFilePath());
    return QFileInfo(file.path()).canonicalFilePath() == database.path() &&
           isDatabaseFileName(file.fileName(), database.fileName());
}

} // namespace sync::base
