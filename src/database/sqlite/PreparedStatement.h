#pragma once

#include <database/sqlite/SqliteHandle.h>
#include <database/sqlite/SqliteValues.h>

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace sync::database {

/// A statement that stays prepared between its uses, with what is bound to it during one.
class PreparedStatement
{
public:
    PreparedStatement(StatementHandle handle, const QString& sql);

    sqlite3_stmt* handle() const { return statement.get(); }
    const QString& text() const { return sql; }
    bool isReadOnly() const { return readOnly; }
    bool hasColumns() const { return columns; }

    bool hasText(const QString& other) const { return isSame(sql, other); }

    /// Where a placeholder, with its colon, stands among the values. Quick when they are asked for
    /// in the order of the statement.
    std::optional<std::size_t> parameterOf(const QString& placeholder);

    BoundValues values;

    // For the connection that keeps it.
    bool inUse = false;
    bool cached = false;
    std::uint64_t lastUse = 0;

private:
    static bool isSame(const QString& left, const QString& right);

    const StatementHandle statement;
    const QString sql;
    const std::vector<QString> placeholders;
    const bool readOnly;
    const bool columns;
    std::size_t nextParameter = 0;
};

} // namespace sync::database
