#include <velmioctl/store/OwnFiles.h>

#include <QFileInfo>

#include <algorithm>
#include <array>

namespace velmioctl {

bool isDatabaseFileName(const std::string& name, const std::string& databaseName)
{
    static constexpr std::array Suffixes{"", "-wal", "-shm", "-journal"};
    return std::any_of(Suffixes.begin(), Suffixes.end(), [&](const char* suffix) {
        return name == databaseName + suffix;
    });
}

bool isDatabaseFile(const QString& path, const QString& databasePath)
{
    const QFileInfo file(path);
    const QFileInfo database(QFileInfo(databasePath).canonicalFilePath());
    return QFileInfo(file.path()).canonicalFilePath() == database.path() &&
           isDatabaseFileName(file.fileName().toStdString(), database.fileName().toStdString());
}

} // namespace velmioctl
