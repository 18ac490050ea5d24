#pragma once

#include <tree/TreeComparison.h>

#include <QString>

#include <optional>
#include <string>

namespace velmioctl {

class Command;

/// A file with rules of what is left out, as a user names it.
struct IgnoreFile
{
    /// Adds the option that names it.
    void addOption(Command& command);

    /// Its text, empty without a file. Throws CommandError if it cannot be read.
    QString read() const;

    std::optional<std::string> path;
};

/// What the text of such a file leaves out below a root; nothing is asked if it is empty.
sync::tree::IgnoreRule ignoreRule(const QString& text, const QString& root);

} // namespace velmioctl
