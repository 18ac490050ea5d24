#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace velmioctl {

/// Visits every folder below a root, parents before their children, siblings sorted by name.
///
/// Links are not followed, except for the root itself. The client's scratch folder is passed over
/// with all that is in it. Folders that vanish meanwhile are no trouble.
class DirectoryWalk
{
public:
    struct Problem
    {
        enum class Kind {
            Unreadable,
            InvalidName, ///< The name is no valid UTF-8, so no record can hold it.
        };
        Kind kind;
        QByteArray path;
        int error; ///< errno of an unreadable folder.
    };
    using Report = std::function<void(const Problem& problem)>;

    /// `root` is an absolute path; `report` hears of every place that cannot be looked into.
    DirectoryWalk(const QString& root, Report report);

    /// The path of the next folder, nothing at the end. The root is not among them.
    std::optional<QString> next();

private:
    enum class Reading { Done, Vanished };

    Reading pushChildren(const std::string& folder, bool followLink);
    void addChild(const std::string& folder, const char* name);

    Report report;
    // Still to be visited, the next one last.
    std::vector<std::string> pending;
    // Of the folder that is being read.
    std::vector<std::string> children;
};

} // namespace velmioctl
