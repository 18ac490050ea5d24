#include <database/opening/SchemaComparison.h>

#include <database/connection/SqliteError.h>
#include <database/connection/SqliteHandle.h>
#include <database/opening/Migrations.h>

#include <QMap>
#include <QStringList>

#include <sqlite3.h>

#include <string>
#include <utility>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

struct Object
{
    QString table;
    QString sql;
};

// type and name -> what is stored of it
using Schema = QMap<std::pair<QString, QString>, Object>;

// Without what SQLite makes itself.
Schema schemaOf(sqlite3* database, const QString& path)
{
    Schema schema;
    forEachRow(
        database,
        "SELECT type, name, tbl_name, sql FROM sqlite_schema WHERE name NOT LIKE 'sqlite\\_%' "
        "ESCAPE '\\'",
        path, [&schema](sqlite3_stmt* row) {
            schema.insert({textAt(row, 0), textAt(row, 1)}, {textAt(row, 2), textAt(row, 3)});
        });
    return schema;
}

QStringList columnsOf(sqlite3* database, const QString& table, const QString& path)
{
    QStringList columns;
    const QByteArray sql = "SELECT name FROM pragma_table_xinfo('" + table.toUtf8() + "')";
    forEachRow(database, sql.constData(), path, [&columns](sqlite3_stmt* row) {
        columns += textAt(row, 0);
    });
    return columns;
}

SqliteHandle newStoreInMemory(qint64 version, const QString& path)
{
    sqlite3* opened = nullptr;
    const int result = sqlite3_open(":memory:", &opened);
    SqliteHandle database(opened);
    if (result != SQLITE_OK)
        throw databaseError(opened, path);
    for (qint64 next = 0; next < version; ++next)
        execute(opened, std::string(migrationScripts()[std::size_t(next)]).c_str(), path);
    return database;
}

QString dropped(const QString& type, QString name)
{
    return u"DROP %1 \"%2\""_s.arg(type.toUpper(), name.replace(u'"', u"\"\""_s));
}

/// Compares the schema of a store with that of a new one.
class Comparison
{
public:
    Comparison(sqlite3* database, qint64 version, const QString& path)
        : database(database)
        , fresh(newStoreInMemory(version, path))
        , path(path)
        , expected(schemaOf(fresh.get(), path))
        , found(schemaOf(database, path))
    {
    }

    QList<SchemaDifference> run();

private:
    void compareTable(const QString& table);

    sqlite3* const database;
    const SqliteHandle fresh;
    const QString path;
    const Schema expected;
    const Schema found;
    QList<SchemaDifference> differences;
};

QList<SchemaDifference> Comparison::run()
{
    for (auto object = found.begin(); object != found.end(); ++object) {
        const auto& [type, name] = object.key();
        if (expected.contains(object.key()))
            continue;
        const bool isTrigger = type == u"trigger" && expected.contains({u"table"_s, object->table});
        differences +=
            {SchemaDifference::Kind::Foreign, type, name, object->table,
             isTrigger ? QStringList{dropped(type, name)} : QStringList()};
    }
    for (auto object = expected.begin(); object != expected.end(); ++object) {
        const auto& [type, name] = object.key();
        const auto is = found.constFind(object.key());
        if (is != found.constEnd() && is->sql == object->sql)
            continue;
        if (type == u"table" && is != found.constEnd()) {
            compareTable(name);
            continue;
        }
        QStringList repair;
        if (is != found.constEnd())
            repair += dropped(type, name);
        if (type != u"table")
            repair += object->sql;
        const SchemaDifference::Kind kind = is == found.constEnd()
                                                ? SchemaDifference::Kind::Missing
                                                : SchemaDifference::Kind::Changed;
        differences += {kind, type, name, object->table, repair};
    }
    return differences;
}

// Names the columns, if that is the difference.
void Comparison::compareTable(const QString& table)
{
    const QStringList is = columnsOf(database, table, path);
    const QStringList shouldBe = columnsOf(fresh.get(), table, path);
    const auto before = differences.size();
    for (const QString& column : shouldBe) {
        if (!is.contains(column))
            differences += {SchemaDifference::Kind::Missing, u"column"_s, column, table, {}};
    }
    for (const QString& column : is) {
        if (!shouldBe.contains(column))
            differences += {SchemaDifference::Kind::Foreign, u"column"_s, column, table, {}};
    }
    if (differences.size() == before)
        differences += {SchemaDifference::Kind::Changed, u"table"_s, table, table, {}};
}

} // namespace

QList<SchemaDifference> schemaDifferencesOf(sqlite3* database, qint64 version, const QString& path)
{
    if (version > currentSchemaVersion())
        return {};
    return Comparison(database, version, path).run();
}

} // namespace sync::database
