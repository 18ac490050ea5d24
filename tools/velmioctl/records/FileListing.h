#pragma once

#include <config/ConfigurationEnums.h>
#include <config/FileConfiguration.h>

#include <QVector>

#include <optional>
#include <string>

namespace velmioctl {

class Session;

/// Which files `velmioctl file list` shows, and in which order.
struct FileListOptions
{
    std::optional<std::string> folder;
    std::string order = "id";
    std::string type = "ordinary";
    long long limit = -1; ///< Negative: all.
    long long offset = 0;
};

/// Lists the files of one folder, or of the whole tree of a root folder, or all.
void listFiles(Session& session, const FileListOptions& options);

/// Prints files as a table or as JSON; for a person `emptyNote` if there are none.
void printFiles(
    Session& session, const QVector<sync::config::FileConfiguration>& files,
    const QString& emptyNote);

/// A record of any kind by its id; id -1 without one.
sync::config::FileConfiguration readFile(
    Session& session, int id, sync::config::FileConfigurationType type);

} // namespace velmioctl
