#include <velmioctl/upkeep/Commands.h>

#include <interf/IQSqlQueryWrapper.h>
#include <velmioctl/cli/CommandLine.h>
#include <velmioctl/cli/Table.h>
#include <velmioctl/cli/Text.h>
#include <velmioctl/store/Columns.h>
#include <velmioctl/store/Session.h>
#include <velmioctl/store/WatchedDatabase.h>

#include <memory>
#include <sqlite3.h>

using namespace Qt::StringLiterals;

namespace velmioctl {

namespace {

CommandError refused(const QString& text)
{
    return {ExitCode::Usage, u"The query was refused: "_s + text};
}

/// An empty copy of the schema, which a query is compiled for before the database sees it.
class EmptyCopy
{
public:
    explicit EmptyCopy(WatchedDatabase& database)
    {
        sqlite3* opened = nullptr;
        sqlite3_open(":memory:", &opened);
        handle.reset(opened);
        const auto schema = database.select(
            u"SELECT sql FROM sqlite_master WHERE type IN ('table', 'view') AND sql IS NOT NULL"
            u" AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'"_s);
        while (schema->next()) {
            // The first statement alone, because SQLite ignores what follows it in a file: there
            // somebody else could have written anything.
            const QByteArray sql = schema->value(0).toString().toUtf8();
            sqlite3_stmt* definition = nullptr;
            sqlite3_prepare_v2(handle.get(), sql.constData(), -1, &definition, nullptr);
            sqlite3_step(definition);
            sqlite3_finalize(definition);
        }
        database.check();
        // A mistyped name in double quotes is an error and not a text.
        sqlite3_db_config(handle.get(), SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
        // The view of sign-ins says only whether there is a password, so it may read it.
        sqlite3_exec(
            handle.get(),
            "CREATE TABLE columnsOfView AS SELECT * FROM v1_signins; DROP VIEW v1_signins;"
            "ALTER TABLE columnsOfView RENAME TO v1_signins",
            nullptr, nullptr, nullptr);
        sqlite3_set_authorizer(handle.get(), authorize, this);
    }

    /// The columns of the answer. Throws CommandError unless the text is one SELECT.
    QStringList columnsOf(const QByteArray& sql)
    {
        const char* rest = nullptr;
        const Statement statement = compiled(sql.constData(), &rest);
        if (!statement)
            throw refused(u"it is empty. Give one SELECT."_s);
        if (compiled(rest, &rest))
            throw refused(u"it has more than one statement. Give one SELECT."_s);
        if (sqlite3_stmt_readonly(statement.get()) == 0 ||
            sqlite3_stmt_isexplain(statement.get()) != 0)
            throw refused(u"it is not a SELECT, and 'query' only reads."_s);
        if (sqlite3_bind_parameter_count(statement.get()) > 0)
            throw refused(u"it has parameters. Write the values into it."_s);
        QStringList names;
        for (int at = 0; at < sqlite3_column_count(statement.get()); ++at) {
            const QString name = QString::fromUtf8(sqlite3_column_name(statement.get(), at));
            // The rows are objects in JSON.
            if (names.contains(name))
                throw refused(
                    u"two columns have the name %1. Name them with AS."_s.arg(quoted(name)));
            names += name;
        }
        return names;
    }

private:
    using Statement = std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)>;

    Statement compiled(const char* sql, const char** rest)
    {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(handle.get(), sql, -1, &statement, rest) == SQLITE_OK)
            return {statement, sqlite3_finalize};
        if (!reason.isEmpty())
            throw refused(reason);
        throw CommandError(
            ExitCode::Usage, u"The query is wrong: %1. docs/database.md names the views and their "
                             u"columns."_s.arg(QString::fromUtf8(sqlite3_errmsg(handle.get()))));
    }

    static int authorize(
        void* self, int action, const char* first, const char* second, const char* /*schema*/,
        const char* /*view*/)
    {
        auto& copy = *static_cast<EmptyCopy*>(self);
        switch (action) {
        case SQLITE_SELECT:
        case SQLITE_RECURSIVE:
            return SQLITE_OK;
        case SQLITE_FUNCTION:
            return qstricmp(second, "load_extension") == 0 ? SQLITE_DENY : SQLITE_OK;
        case SQLITE_READ:
            if (!isSecret(first, second))
                return SQLITE_OK;
            copy.reason = u"the column %1 of %2 is a secret. Name other columns."_s.arg(
                QString::fromUtf8(second), QString::fromUtf8(first));
            return SQLITE_DENY;
        default:
            copy.reason = u"it is not a SELECT, and 'query' only reads."_s;
            return SQLITE_DENY;
        }
    }

    static bool isSecret(const char* tableName, const char* columnName)
    {
        for (const TableShape& table : tableShapes()) {
            if (qstricmp(table.name.constData(), tableName) != 0)
                continue;
            for (const Column& column : table.columns) {
                if (column.isSecret() && qstricmp(column.name.constData(), columnName) == 0)
                    return true;
            }
        }
        return false;
    }

    std::unique_ptr<sqlite3, int (*)(sqlite3*)> handle{nullptr, sqlite3_close};
    QString reason; // why the last text was refused
};

QJsonValue jsonOf(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::QByteArray:
        return QString::fromLatin1(value.toByteArray().toHex());
    case QMetaType::Double:
        return value.toDouble();
    case QMetaType::QString:
        return value.toString();
    default:
        return value.isNull() ? QJsonValue() : QJsonValue(value.toLongLong());
    }
}

void query(Session& session, const std::string& text)
{
    session.requireFile();
    auto& database = session.database();
    const QStringList columns = EmptyCopy(database).columnsOf(QByteArray::fromStdString(text));
    const auto rows = database.select(QString::fromStdString(text));
    Table table(columns);
    QJsonArray array;
    while (rows->next()) {
        QStringList cells;
        QJsonObject object;
        for (int at = 0; at < columns.size(); ++at) {
            const QJsonValue value = jsonOf(rows->value(at));
            object.insert(columns[at], value);
            cells += value.toVariant().toString();
        }
        if (session.output.json())
            array.append(object);
        else
            table.addRow(cells);
    }
    database.check();
    session.output.printList(array, table, u"No rows match."_s);
}

} // namespace

void addQueryCommand(Command& app, Session& session)
{
    auto* const command = app.addSubcommand("query", "Show the rows that a SELECT finds");
    const auto text = std::make_shared<std::string>();
    command->addOption("SELECT", *text, "One SELECT, for example of the view v1_files")->required();
    command->example(
        "velmioctl query \"SELECT clientPath, size FROM v1_files WHERE size > 1000000\"");
    command->callback([&session, text] { query(session, *text); });
}

} // namespace velmioctl
