#pragma once

#include <QString>

#include <functional>

namespace velmioctl::doctor {

enum class Severity {
    Error,   ///< Something does not work, or will fail.
    Warning, ///< Something that is to be looked at, and hurts nobody for now.
    Note,    ///< Allowed and harmless, but good to know. No finding for the exit code.
};

/// Something that is looked for.
struct Check
{
    QString id; ///< Stays as it is, for programs.
    Severity severity;
    QString title;   ///< What its rows are.
    QString leadsTo; ///< What becomes of it.
    QString remedy;  ///< "{id}" stands for the id of the first row, "{name}" for its name.
};

/// A place where a check has found something.
struct Row
{
    QString table = {}; ///< Empty for a file.
    long long id = -1;
    QString name = {};   ///< A path, a user or the like.
    QString detail = {}; ///< What is wrong with it.
};

/// Hears of all rows of a check, one after the other.
using Found = std::function<void(const Check& check, const Row& row)>;

} // namespace velmioctl::doctor
