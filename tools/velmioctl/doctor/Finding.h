#pragma once

#include <QString>

#include <functional>

namespace velmioctl::doctor {

/// The tables as findings and their remedies name them.
inline const QString ServerTable = QStringLiteral("ServerConfiguration");
inline const QString SignInTable = QStringLiteral("AuthenticationConfiguration");
inline const QString ProductTable = QStringLiteral("ProductConfiguration");
inline const QString FolderTable = QStringLiteral("FolderConfiguration");
inline const QString FileTable = QStringLiteral("FileConfiguration");
inline const QString ScheduleTable = QStringLiteral("Schedules");

enum class Severity {
    Error,   ///< Something does not work, or will fail.
    Warning, ///< Does no harm now, but needs attention.
    Note,    ///< Allowed and harmless. Does not count for the exit code.
};

/// Something that doctor looks for.
struct Check
{
    QString id; ///< For programs: it never changes.
    Severity severity;
    QString title;   ///< What its rows are.
    QString leadsTo; ///< The consequence.
    QString remedy;  ///< "{id}" stands for the id of the first row, "{name}" for its name.
};

/// One finding of a check.
struct Row
{
    QString table = {}; ///< Empty for a file.
    long long id = -1;
    QString name = {};   ///< A path, a user or the like.
    QString detail = {}; ///< What is wrong with it.
};

/// Called for each row of a check, one after the other.
using Found = std::function<void(const Check& check, const Row& row)>;

} // namespace velmioctl::doctor
