#include <database/sqlite/PreparedStatement.h>

#include <sqlite3.h>

#include <algorithm>
#include <cstring>

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

PreparedStatement::PreparedStatement(StatementHandle handle, const QString& sql)
    : statement(std::move(handle))
    // A deep copy: the caller's text may be static data of a library that is unloaded later.
    , sql(sql.constData(), sql.size())
    , placeholders(placeholdersOf(statement.get()))
    , readOnly(sqlite3_stmt_readonly(statement.get()) != 0)
    , columns(sqlite3_column_count(statement.get()) > 0)
{
    values.resize(placeholders.size());
}

std::optional<std::size_t> PreparedStatement::parameterOf(const QString& placeholder)
{
    // Managers bind in the order of the statement, but for the key of an UPDATE.
    std::size_t parameter = nextParameter;
    if (parameter >= placeholders.size() || !isSame(placeholders[parameter], placeholder)) {
        const auto found = std::find(placeholders.begin(), placeholders.end(), placeholder);
        if (found == placeholders.end())
            return {};
        parameter = static_cast<std::size_t>(found - placeholders.begin());
    }
    nextParameter = parameter + 1;
    return parameter;
}

// The toolkit's comparison takes several times as long.
bool PreparedStatement::isSame(const QString& left, const QString& right)
{
    return left.size() == right.size() &&
           std::memcmp(
               left.constData(), right.constData(),
               static_cast<std::size_t>(left.size()) * sizeof(QChar)) == 0;
}

} // namespace sync::database
