#pragma once

#include <config/ConfigurationEnums.h>
#include <config/FileConfiguration.h>

#include <QVector>

#include <optional>
#include <string>
#include <vector>

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
    std::vector<std::string> columns; ///< Of the table; the usual ones without any.
    std::optional<std::string> status;
    std::optional<std::string> modifiedSince;
    long long largerThan = -1;       ///< In bytes; negative: all.
    std::optional<std::string> path; ///< A pattern.
    bool asLines = false;            ///< A JSON object on each line.
};

/// The words for the columns of the table.
std::vector<std::string> fileColumnWords();

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
