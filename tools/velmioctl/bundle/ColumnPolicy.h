#pragma once

#include <QByteArray>

#include <optional>

namespace velmioctl::bundle {

/// What a support bundle tells of a column. Whatever is not told of a column here stays out.
enum class ColumnPolicy {
    Denied,     ///< Nothing: secrets, and what may hold anything.
    Number,     ///< Integers as they are.
    Time,       ///< Times as they are.
    Name,       ///< A token, or with --keep-paths the name.
    Path,       ///< The same for each of its components.
    Url,        ///< The same; a user, a password and a query never.
    Identifier, ///< A token: servers hand them out, and may take them for a right.
    Counted,    ///< How many rows have which integer.
};

/// Nothing for a column that nobody has decided on.
std::optional<ColumnPolicy> policyOf(const QByteArray& table, const QByteArray& column);

} // namespace velmioctl::bundle
