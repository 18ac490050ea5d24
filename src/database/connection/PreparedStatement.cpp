#include <database/connection/PreparedStatement.h>

#include <sqlite3.h>

#include <algorithm>
#include <utility>

namespace sync::database {

namespace {

std::vector<QString> placeholdersOf(sqlite3_stmt* statement)
{
    std::vector<QString> names;
    const int count = sqlite3_bind_parameter_count(statement);
    for (int parameter = 1; parameter <= count; ++parameter)
        names.push_back(QString::fromUtf8(sqlite3_bind_parameter_name(statement, parameter)));
    return names;
}

} // namespace

PreparedStatement::PreparedStatement(
    StatementHandle handle, const QString& sql, RecordKinds writtenKinds)
    : statement(std::move(handle))
    // A deep copy: the caller's text may be static data of a library that is unloaded later.
    , sql(sql.constData(), sql.size())
    , placeholders(placeholdersOf(statement.get()))
    , readOnly(sqlite3_stmt_readonly(statement.get()) != 0)
    , columns(sqlite3_column_count(statement.get()) > 0)
    , written(writtenKinds)
{
    values.resize(placeholders.size());
}

int PreparedStatement::step()
{
    running = true;
    return sqlite3_step(statement.get());
}

void PreparedStatement::reset()
{
    if (std::exchange(running, false))
        sqlite3_reset(statement.get());
}

std::optional<std::size_t> PreparedStatement::findParameter(const QString& placeholder)
{
    const auto found = std::find(placeholders.begin(), placeholders.end(), placeholder);
    if (found == placeholders.end())
        return {};
    next = static_cast<std::size_t>(found - placeholders.begin()) + 1;
    return next - 1;
}

} // namespace sync::database
