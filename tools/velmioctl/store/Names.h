#pragma once

#include <config/ConfigurationEnums.h>

#include <QString>

#include <string>
#include <vector>

namespace velmioctl {

/// The word for a folder's status: "unknown", "syncing", "out-of-sync", "created", or the number.
QString syncStatusName(int status);

/// The words for a status, a folder option and so on, in the order in which they are listed.
std::vector<std::string> syncStatusWords();
std::vector<std::string> folderOptionWords();
std::vector<std::string> fileTypeWords();
std::vector<std::string> fileOrderWords();
std::vector<std::string> privilegeWords();

/// A status by its word or the number of a word; throws CommandError for anything else.
int syncStatusFrom(const std::string& text);

/// "top-level", "subfolders", "unknown", or the number.
QString folderOptionName(int option);
int folderOptionFrom(const std::string& text);

/// "ordinary", "generated", "base", or the number.
QString fileTypeName(int type);

/// A type by its word; throws CommandError for anything else.
sync::config::FileConfigurationType fileTypeFrom(const std::string& text);

/// The ORDER BY term of an order such as "name" or "size-desc"; throws CommandError for others.
QString fileOrderFrom(const std::string& text);

/// The rights in words, such as "view download", "none", or the number where bits have no word.
QString privilegesName(int privileges);

/// Rights from a number, "all", "none", or words separated by blanks or commas; throws
/// CommandError.
int privilegesFrom(const std::string& text);

} // namespace velmioctl
