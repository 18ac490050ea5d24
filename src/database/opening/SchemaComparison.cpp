#include <database/opening/SchemaComparison.h>

#include <database/connection/SqliteError.h>
#include <database/connection/SqliteHandle.h>
#include <database/opening/Migrations.h>

#include <QByteArrayList>
#include <QMap>

#include <sqlite3.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace sync::database {

namespace {

using DifferenceKind = SchemaDifference::Kind;

struct Object
{
    QString table;
    QString sql;
    QByteArrayList tokens; // of the text
};

// type and name -> what is stored of it
using Schema = QMap<std::pair<QString, QString>, Object>;

std::string_view viewOf(sqlite3_stmt* row, int column)
{
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
    return text ? std::string_view(text) : std::string_view();
}

// What SQLite makes itself, to the letter. It believes other tables of these names.
bool isOfSqlite(std::string_view sql)
{
    return sql == "CREATE TABLE sqlite_sequence(name,seq)" ||
           sql == "CREATE TABLE sqlite_stat1(tbl,idx,stat)" ||
           sql == "CREATE TABLE sqlite_stat4(tbl,idx,neq,nlt,ndlt,sample)" || sql.empty();
}

bool isWord(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || character == '_' || character == '$' ||
           (character & 0x80) != 0;
}

bool isPlainName(std::string_view text)
{
    return !text.empty() && !(text[0] >= '0' && text[0] <= '9') &&
           std::all_of(text.begin(), text.end(), isWord) &&
           sqlite3_keyword_check(text.data(), int(text.size())) == 0;
}

// The end of the text in quotes that begins at an offset.
std::size_t endOfQuoted(std::string_view sql, std::size_t start)
{
    const char closing = sql[start] == '[' ? ']' : sql[start];
    for (std::size_t end = start + 1; end < sql.size(); ++end) {
        if (sql[end] != closing)
            continue;
        // Doubled, it is part of the text.
        if (closing == ']' || end + 1 == sql.size() || sql[end + 1] != closing)
            return end + 1;
        ++end;
    }
    return sql.size();
}

std::size_t endOfToken(std::string_view sql, std::size_t start)
{
    constexpr std::string_view Blanks = " \t\n\f\r";
    const auto after = [&](std::string_view last) {
        const std::size_t found = sql.find(last, start + 2);
        return found == std::string_view::npos ? sql.size() : found + last.size();
    };
    const std::string_view rest = sql.substr(start);
    if (rest.starts_with("--"))
        return after("\n");
    if (rest.starts_with("/*"))
        return after("*/");
    if (std::string_view("'\"`[").find(sql[start]) != std::string_view::npos)
        return endOfQuoted(sql, start);
    std::size_t end = start + 1;
    const bool isBlank = Blanks.find(sql[start]) != std::string_view::npos;
    if (isBlank || isWord(sql[start])) {
        while (end < sql.size() &&
               (isBlank ? Blanks.find(sql[end]) != std::string_view::npos : isWord(sql[end])))
            ++end;
    }
    return end;
}

// The tokens of a text without blanks, comments, and the quotes of a name that needs none. Other
// programs, and SQLite when it renames something, write them differently.
QByteArrayList tokensOf(std::string_view sql)
{
    QByteArrayList tokens;
    std::size_t end = 0;
    for (std::size_t start = 0; start < sql.size(); start = end) {
        end = endOfToken(sql, start);
        std::string_view token = sql.substr(start, end - start);
        const bool isComment = token.starts_with("--") || token.starts_with("/*");
        if (isComment || std::string_view(" \t\n\f\r").find(token[0]) != std::string_view::npos)
            continue;
        const bool isQuotedName = token.size() > 2 && token[0] != '\'' && !isWord(token[0]);
        if (isQuotedName && isPlainName(token.substr(1, token.size() - 2)))
            token = token.substr(1, token.size() - 2);
        tokens += QByteArray(token.data(), qsizetype(token.size()));
    }
    return tokens;
}

Schema schemaOf(sqlite3* database, const QString& path)
{
    Schema schema;
    forEachRow(
        database, "SELECT type, name, tbl_name, sql FROM sqlite_schema", path,
        [&schema](sqlite3_stmt* row) {
            const std::string_view sql = viewOf(row, 3);
            if (!isOfSqlite(sql))
                schema.insert(
                    {textAt(row, 0), textAt(row, 1)},
                    {textAt(row, 2), textAt(row, 3), tokensOf(sql)});
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

// All that leads to a version, each object at the beginning of a line.
const std::string& scriptsOf(qint64 version)
{
    static const std::vector<std::string> scripts = [] {
        std::vector<std::string> all(1, "\n");
        for (const std::string_view script : migrationScripts())
            all.push_back(all.back() + std::string(script));
        return all;
    }();
    return scripts[std::size_t(version)];
}

SqliteHandle newStoreInMemory(qint64 version, const QString& path)
{
    sqlite3* opened = nullptr;
    const int result = sqlite3_open(":memory:", &opened);
    SqliteHandle database(opened);
    if (result != SQLITE_OK)
        throw databaseError(opened, path);
    execute(opened, scriptsOf(version).c_str(), path);
    return database;
}

// True if the schema is to the letter what the scripts of a version say, as nearly always. Each
// object is looked for behind the one before, because they are stored in that order.
//
// Comparing all with a new store takes 1.3 ms, and a hash of the texts more than this.
bool isToTheLetter(sqlite3* database, qint64 version, const QString& path)
{
    const std::string_view scripts = scriptsOf(version);
    std::size_t objects = 0;
    std::size_t next = 0;
    bool same = true;
    forEachRow(database, "SELECT sql FROM sqlite_schema", path, [&](sqlite3_stmt* row) {
        const std::string_view sql = viewOf(row, 0);
        if (!same || isOfSqlite(sql))
            return;
        std::size_t found = scripts.find(sql, next);
        if (found == std::string_view::npos)
            found = scripts.find(sql); // VACUUM stores tables before indexes and views
        same = found != std::string_view::npos && found > 0 && scripts[found - 1] == '\n' &&
               scripts.substr(found + sql.size()).starts_with(';');
        next = same ? found + sql.size() : 0;
        ++objects;
    });
    constexpr std::string_view Create = "\nCREATE ";
    for (auto at = scripts.find(Create); same && at != std::string_view::npos;
         at = scripts.find(Create, at + 1))
        --objects;
    return same && objects == 0;
}

QString dropped(const QString& type, QString name)
{
    return u"DROP %1 \"%2\""_s.arg(type.toUpper(), name.replace(u'"', u"\"\""_s));
}

// The definitions in the parentheses of CREATE TABLE; nothing if anything follows them.
QList<QByteArrayList> definitionsOf(const QByteArrayList& tokens)
{
    constexpr qsizetype First = 4; // CREATE TABLE name (
    if (tokens.size() <= First || tokens[1] != "TABLE" || tokens[First - 1] != "(")
        return {};
    QList<QByteArrayList> definitions(1);
    int depth = 1;
    qsizetype at = First;
    for (; at < tokens.size() && depth > 0; ++at) {
        const QByteArray& token = tokens[at];
        depth += token == "(" ? 1 : token == ")" ? -1 : 0;
        if (depth == 1 && token == ",")
            definitions.append(QByteArrayList());
        else if (depth > 0)
            definitions.last() += token;
    }
    return at == tokens.size() ? definitions : QList<QByteArrayList>();
}

// True if a table differs from a new one only in columns that it lacks, and in others that have a
// name and a type, and no constraint, default or expression. A column of ours with another type
// would store other values: the user 007 as the number 7.
bool hasOtherPlainColumns(const QByteArrayList& tokens, const QByteArrayList& expected)
{
    const auto definitions = definitionsOf(tokens);
    const auto known = definitionsOf(expected);
    return !definitions.isEmpty() &&
           std::all_of(definitions.begin(), definitions.end(), [&](const QByteArrayList& column) {
               const bool isPlain = column.size() <= 2 &&
                                    std::all_of(column.begin(), column.end(), [](const auto& word) {
                                        return isPlainName({word.constData(), size_t(word.size())});
                                    });
               const bool isOurs = std::any_of(known.begin(), known.end(), [&](const auto& own) {
                   return own.first().compare(column.value(0), Qt::CaseInsensitive) == 0;
               });
               return known.contains(column) || (isPlain && !isOurs);
           });
}

// True for an index on columns alone, which refuses no row and computes nothing.
bool isPlainIndex(const QByteArrayList& tokens)
{
    constexpr qsizetype First = 6; // CREATE INDEX name ON table (
    return tokens.size() > First && tokens[1] == "INDEX" && tokens[First - 1] == "(" &&
           std::all_of(tokens.begin() + First, tokens.end() - 1, [](const QByteArray& token) {
               return token == "," || isPlainName({token.constData(), size_t(token.size())});
           });
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
    bool isOwnName(const QString& name) const;
    void addForeign(const QString& type, const QString& name, const Object& object);
    void compareTable(const QString& table, const Object& is, const Object& shouldBe);

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
        if (!expected.contains(object.key()))
            addForeign(object.key().first, object.key().second, *object);
    }
    for (auto object = expected.begin(); object != expected.end(); ++object) {
        const auto& [type, name] = object.key();
        const auto is = found.constFind(object.key());
        const bool isThere = is != found.constEnd();
        if (isThere && is->tokens == object->tokens)
            continue;
        if (type == u"table" && isThere) {
            compareTable(name, *is, *object);
            continue;
        }
        QStringList repair;
        if (isThere)
            repair += dropped(type, name);
        if (type != u"table")
            repair += object->sql;
        differences +=
            {isThere ? DifferenceKind::Changed : DifferenceKind::Missing,
             type,
             name,
             object->table,
             repair,
             isThere};
    }
    return differences;
}

// SQLite ignores the case of names.
bool Comparison::isOwnName(const QString& name) const
{
    return std::any_of(expected.keyBegin(), expected.keyEnd(), [&name](const auto& key) {
        const bool isTable = key.first == u"table" || key.first == u"view";
        return isTable && key.second.compare(name, Qt::CaseInsensitive) == 0;
    });
}

void Comparison::addForeign(const QString& type, const QString& name, const Object& object)
{
    const bool canAct = (isOwnName(object.table) && !isPlainIndex(object.tokens)) ||
                        name.startsWith(u"sqlite_"_s, Qt::CaseInsensitive);
    const bool isDropped = canAct && (type == u"trigger" || type == u"index");
    differences +=
        {DifferenceKind::Foreign,
         type,
         name,
         object.table,
         isDropped ? QStringList{dropped(type, name)} : QStringList(),
         canAct};
}

// Names the columns, if that is all the difference.
void Comparison::compareTable(const QString& table, const Object& is, const Object& shouldBe)
{
    if (!hasOtherPlainColumns(is.tokens, shouldBe.tokens)) {
        differences += {DifferenceKind::Changed, u"table"_s, table, table, {}, true};
        return;
    }
    const QStringList has = columnsOf(database, table, path);
    const QStringList needs = columnsOf(fresh.get(), table, path);
    const auto before = differences.size();
    for (const QString& column : needs) {
        if (!has.contains(column))
            differences += {DifferenceKind::Missing, u"column"_s, column, table};
    }
    for (const QString& column : has) {
        if (!needs.contains(column))
            differences += {DifferenceKind::Foreign, u"column"_s, column, table};
    }
    if (differences.size() == before)
        differences += {DifferenceKind::Changed, u"table"_s, table, table};
}

} // namespace

QList<SchemaDifference> schemaDifferencesOf(sqlite3* database, qint64 version, const QString& path)
{
    const qint64 known = std::min<qint64>(version, currentSchemaVersion());
    if (isToTheLetter(database, known, path))
        return {};
    QList<SchemaDifference> differences = Comparison(database, known, path).run();
    // A newer version has tables that this one does not know.
    if (version > known)
        differences.removeIf([](const SchemaDifference& difference) {
            return difference.kind == DifferenceKind::Foreign && !difference.canAct;
        });
    return differences;
}

} // namespace sync::database
