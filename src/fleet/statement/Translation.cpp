#include <fleet/statement/Translation.h>

#include <fleet/statement/SqlTokens.h>

#include <QByteArrayList>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <utility>

using namespace Qt::StringLiterals;

namespace sync::fleet {

const std::vector<QByteArray> RecordTables{"ServerConfiguration",   "AuthenticationConfiguration",
                                           "ProductConfiguration",  "FolderConfiguration",
                                           "FileConfiguration",     "GeneratedFileConfiguration",
                                           "BaseFileConfiguration", "Schedules"};

namespace {

using Kind = Translation::Kind;
using Meaning = Translation::Parameter::Meaning;

// They are indexed by their hash, because an index entry cannot hold a long text.
constexpr std::array HashedColumns{"clientPath", "serverPath", "serverFileId", "serverFolderId"};

bool isAny(const SqlToken& token, std::initializer_list<const char*> words)
{
    return std::any_of(
        words.begin(), words.end(), [&token](const char* word) { return token.is(word); });
}

std::optional<std::size_t> recordTable(const SqlToken& token)
{
    const auto found = std::find_if(
        RecordTables.begin(), RecordTables.end(),
        [&token](const QByteArray& table) { return token.is(table); });
    if (found == RecordTables.end())
        return {};
    return static_cast<std::size_t>(found - RecordTables.begin());
}

QByteArray qualified(std::size_t table)
{
    return "velmio." + RecordTables[table];
}

/// A range of tokens.
struct Range
{
    std::size_t begin = 0;
    std::size_t end = 0;
};

class Translator
{
public:
    explicit Translator(const QString& sql)
        : tokens(tokensOf(sql.toUtf8()))
    {
    }

    Translation run()
    {
        if (tokens.empty())
            refuse(u"the statement is empty"_s);
        else if (!isBalanced())
            refuse(u"a parenthesis is missing"_s);
        else if (isAny(tokens[0], {"SELECT", "WITH", "VALUES"})) {
            result.kind = Kind::Read;
            select();
        } else if (tokens[0].is("INSERT")) {
            result.kind = Kind::Write;
            insert();
        } else if (isAny(tokens[0], {"UPDATE", "DELETE"})) {
            result.kind = Kind::Write;
            change();
        } else if (isAny(
                       tokens[0], {"BEGIN", "START", "COMMIT", "END", "ROLLBACK", "ABORT",
                                   "SAVEPOINT", "RELEASE", "PREPARE", "SET"})) {
            refuse(u"transaction() and TransactionalScope control transactions"_s);
        } else {
            append(all());
        }
        return std::move(result);
    }

private:
    Range all() const { return {0, tokens.size()}; }
    bool isAt(std::size_t index, const char* word) const
    {
        return index < tokens.size() && tokens[index].is(word);
    }

    // What is put in parentheses must not get out of them.
    bool isBalanced() const
    {
        int depth = 0;
        for (const SqlToken& token : tokens) {
            depth += depthChange(token);
            if (depth < 0)
                return false;
        }
        return depth == 0;
    }

    /// Of the depth of parentheses.
    static int depthChange(const SqlToken& token)
    {
        return token.is("(") ? 1 : token.is(")") ? -1 : 0;
    }

    void refuse(const QString& reason)
    {
        result = {};
        result.kind = Kind::Refused;
        result.refusal = reason;
    }

    // Writing the result.

    void write(const QByteArray& text) { result.text += text; }

    QByteArray number(Meaning meaning, std::size_t value = 0)
    {
        result.parameters.push_back({meaning, value});
        return '$' + QByteArray::number(qulonglong(result.parameters.size()));
    }

    QByteArray ofStore() { return "store = " + number(Meaning::Store); }

    QByteArray numberOf(const SqlToken& placeholder)
    {
        const QString name = QString::fromUtf8(placeholder.text);
        auto& names = result.placeholders;
        auto found = std::find(names.begin(), names.end(), name);
        if (found == names.end())
            found = names.insert(names.end(), name);
        return number(Meaning::Value, static_cast<std::size_t>(found - names.begin()));
    }

    void writeToken(const SqlToken& token)
    {
        if (token.afterBlank && !result.text.endsWith(' ') && !result.text.endsWith('('))
            write(" ");
        write(token.kind == SqlToken::Kind::Placeholder ? numberOf(token) : token.text);
    }

    void append(Range range, bool inCondition = false)
    {
        std::size_t at = range.begin;
        while (at < range.end) {
            const SqlToken& token = tokens[at];
            if (isAny(token, {"WHERE", "ON", "HAVING"}))
                inCondition = true;
            else if (isAny(token, {"SET", "SELECT", "FROM", "ORDER", "GROUP", "VALUES"}))
                inCondition = false;
            if (isAny(token, {"FROM", "JOIN"})) {
                writeToken(token);
                at = appendTables(at + 1, range.end);
            } else if (const auto end = inCondition ? appendHashed(at) : 0) {
                at = end;
            } else if (const auto list = appendEmptyList(at)) {
                at = list;
            } else {
                writeToken(token);
                ++at;
            }
        }
    }

    // A name, and those after a comma. Returns where they end.
    std::size_t appendTables(std::size_t at, std::size_t end)
    {
        for (;;) {
            const auto table = at < end ? recordTable(tokens[at]) : std::nullopt;
            if (!table)
                return at;
            write(" (SELECT * FROM " + qualified(*table) + " WHERE " + ofStore() + ") AS ");
            const SqlToken& name = tokens[at++];
            if (isAt(at, "AS"))
                ++at;
            write(at < end && isAlias(tokens[at]) ? tokens[at++].text : name.text);
            if (!isAt(at, ","))
                return at;
            writeToken(tokens[at++]);
        }
    }

    static bool isAlias(const SqlToken& token)
    {
        return token.kind == SqlToken::Kind::Word &&
               !isAny(
                   token, {"WHERE",  "ON",      "JOIN",   "LEFT",      "RIGHT",  "FULL",   "INNER",
                           "CROSS",  "NATURAL", "USING",  "ORDER",     "GROUP",  "HAVING", "LIMIT",
                           "OFFSET", "UNION",   "EXCEPT", "INTERSECT", "WINDOW", "FOR"});
    }

    // "column = :value", with or without a table's name before it. Returns its end, or 0.
    std::size_t appendHashed(std::size_t at)
    {
        const std::size_t column = isAt(at + 1, ".") ? at + 2 : at;
        if (column + 2 >= tokens.size() || (at > 0 && isAt(at - 1, ".")))
            return 0;
        const bool hashed = std::any_of(
            HashedColumns.begin(), HashedColumns.end(),
            [&](const char* name) { return tokens[column].is(name); });
        const SqlToken& value = tokens[column + 2];
        if (!hashed || !tokens[column + 1].is("=") || value.kind != SqlToken::Kind::Placeholder)
            return 0;
        QByteArray name = tokens[column].text;
        if (column != at)
            name.prepend(tokens[at].text + '.');
        write(" (" + name + " = " + numberOf(value));
        write(" AND md5(" + name + ") = md5(" + numberOf(value) + "::text))");
        return column + 3;
    }

    // "NOT IN ()" and "IN ()", which only SQLite understands. Returns its end, or 0.
    std::size_t appendEmptyList(std::size_t at)
    {
        const bool negated = isAt(at, "NOT");
        const std::size_t in = negated ? at + 1 : at;
        if (!isAt(in, "IN") || !isAt(in + 1, "(") || !isAt(in + 2, ")"))
            return 0;
        write(negated ? " <> ALL ('{}')" : " = ANY ('{}')");
        return in + 3;
    }

    // Reading.

    void select()
    {
        const Outline outline = outlineOf();
        append({0, outline.orderBy});
        if (outline.orderBy < tokens.size())
            orderBy(outline);
        else if (outline.addsOrder)
            write(" ORDER BY ");
        if (!outline.addsOrder)
            return append({outline.end, tokens.size()});
        const QByteArray before = result.text;
        const bool isFirst = outline.orderBy == tokens.size();
        write((isFirst ? "" : ", ") + outline.ids.join(", "));
        const QByteArray after = result.text;
        append({outline.end, tokens.size()});
        if (outline.hasOtherTable) {
            const QByteArray rest = result.text.mid(after.size());
            result.textWithoutId =
                (isFirst ? before.chopped(qsizetype(sizeof " ORDER BY " - 1)) : before) + rest;
        }
    }

    /// Where the parts of a SELECT begin.
    struct Outline
    {
        std::size_t orderBy = 0; // the end of the tokens if there is none
        std::size_t end = 0;     // of ORDER BY: where LIMIT begins
        bool addsOrder = true;
        bool hasOtherTable = false;
        QByteArrayList ids; // the columns that make the order complete
    };

    Outline outlineOf() const
    {
        Outline outline;
        outline.orderBy = outline.end = tokens.size();
        int depth = 0;
        bool inList = true;
        for (std::size_t at = 0; at < tokens.size(); ++at) {
            const SqlToken& token = tokens[at];
            depth += depthChange(token);
            if (depth > 0)
                continue;
            if (isAny(
                    token,
                    {"DISTINCT", "GROUP", "UNION", "EXCEPT", "INTERSECT", "WITH", "VALUES"}) ||
                (inList && isAt(at + 1, "(") &&
                 isAny(token, {"count", "sum", "min", "max", "avg"})))
                outline.addsOrder = false;
            if (isAny(token, {"FROM", "JOIN"})) {
                inList = false;
                noteTable(at + 1, outline);
            }
            if (token.is("ORDER") && isAt(at + 1, "BY"))
                outline.orderBy = at;
            if (isAny(token, {"LIMIT", "OFFSET", "FOR"}) && outline.end == tokens.size())
                outline.end = at;
        }
        outline.orderBy = std::min(outline.orderBy, outline.end);
        if (outline.ids.isEmpty() || ordersById(outline))
            outline.addsOrder = false;
        if (outline.ids.size() == 1)
            outline.ids = {"id"};
        if (outline.orderBy == outline.end)
            outline.orderBy = tokens.size();
        return outline;
    }

    void noteTable(std::size_t at, Outline& outline) const
    {
        if (at >= tokens.size() || tokens[at].kind != SqlToken::Kind::Word)
            return;
        if (!recordTable(tokens[at]))
            outline.hasOtherTable = true;
        const std::size_t next = isAt(at + 1, "AS") ? at + 2 : at + 1;
        const bool named = next < tokens.size() && isAlias(tokens[next]);
        outline.ids.append((named ? tokens[next] : tokens[at]).text + ".id");
    }

    bool ordersById(const Outline& outline) const
    {
        for (std::size_t at = outline.orderBy; at < outline.end; ++at) {
            const bool startsTerm = isAny(tokens[at - 1], {"BY", ","});
            const bool endsTerm =
                at + 1 == outline.end || isAny(tokens[at + 1], {",", "ASC", "DESC"});
            if (startsTerm && endsTerm && tokens[at].is("id"))
                return true;
        }
        return false;
    }

    void orderBy(const Outline& outline)
    {
        append({outline.orderBy, outline.orderBy + 2});
        std::size_t start = outline.orderBy + 2;
        int depth = 0;
        for (std::size_t at = start; at <= outline.end; ++at) {
            const bool ends = at == outline.end || (depth == 0 && tokens[at].is(","));
            if (!ends) {
                depth += depthChange(tokens[at]);
                continue;
            }
            append({start, at});
            const bool isId = tokens[start].is("id"); // never NULL, and an index has its order
            if (!isId && at > start && !isAny(tokens[at - 1], {"FIRST", "LAST"}))
                write(tokens[at - 1].is("DESC") ? " NULLS LAST" : " NULLS FIRST");
            if (at < outline.end)
                write(",");
            start = at + 1;
        }
    }

    // Writing.

    // INSERT INTO table (columns) VALUES (values)
    void insert()
    {
        const auto table = tokens.size() > 2 ? recordTable(tokens[2]) : std::nullopt;
        if (!table) {
            append(all());
            result.writtenKinds = database::RecordKind::Other;
            result.textWithoutId = result.text;
            write(" RETURNING id");
            result.returnsId = true;
            return;
        }
        const std::vector<Range> columns = listAt(3);
        const std::size_t afterColumns = columns.empty() ? 3 : columns.back().end + 1;
        const std::vector<Range> values =
            isAt(afterColumns, "VALUES") ? listAt(afterColumns + 1) : std::vector<Range>();
        if (columns.empty() || values.size() != columns.size() ||
            values.back().end + 1 != tokens.size()) {
            refuse(u"an INSERT into a table of the records needs the form "
                   u"INSERT INTO table (columns) VALUES (values)"_s);
            return;
        }
        writeInsert(*table, columns, values);
    }

    // The items of a list in parentheses; empty if there is none at this place.
    std::vector<Range> listAt(std::size_t at) const
    {
        std::vector<Range> items;
        if (!isAt(at, "("))
            return items;
        int depth = 1;
        std::size_t start = at + 1;
        for (at = start; at < tokens.size(); ++at) {
            depth += depthChange(tokens[at]);
            if (depth > 1 || (depth == 1 && !tokens[at].is(",")))
                continue;
            items.push_back({start, at});
            start = at + 1;
            if (depth == 0)
                return items;
        }
        return {};
    }

    void writeInsert(
        std::size_t table, const std::vector<Range>& columns, const std::vector<Range>& values)
    {
        const auto positionOf = [&](const char* column) {
            return static_cast<std::size_t>(
                std::find_if(
                    columns.begin(), columns.end(),
                    [&](const Range& range) { return tokens[range.begin].is(column); }) -
                columns.begin());
        };
        result.insertedTable = table;
        result.writtenKinds = kindOf(tokens[2]);
        result.returnsId = true;
        result.namesItsId = positionOf("id") < columns.size();
        write("INSERT INTO " + qualified(table) + " (store");
        if (!result.namesItsId)
            write(", id");
        for (const Range& column : columns) {
            write(", ");
            append(column);
        }
        write(") VALUES (" + number(Meaning::Store));
        if (!result.namesItsId)
            write(", " + newId(table));
        const std::size_t root = positionOf("rootId");
        const std::size_t parent = positionOf("parentId");
        for (std::size_t at = 0; at < values.size(); ++at) {
            write(", ");
            if (at == root && parent < columns.size() && !result.namesItsId)
                writeRootId(table, values[parent], values[root]);
            else
                append(values[at]);
        }
        write(") RETURNING id");
    }

    // The id that a transaction has reserved, or else the one that the turn has just counted.
    QByteArray newId(std::size_t table)
    {
        const QByteArray reserved = number(Meaning::NewId);
        return "coalesce(" + reserved + ", (SELECT " + RecordTables[table] +
               " FROM velmio.Counters WHERE " + ofStore() + "))";
    }

    // A root folder's rootId is its own id, which its INSERT cannot know: in the embedded engine a
    // trigger sets it.
    void writeRootId(std::size_t table, Range parent, Range root)
    {
        write("CASE WHEN (");
        append(parent);
        write(")::integer = 0 AND (");
        append(root);
        write(")::integer = -1 THEN " + newId(table) + " ELSE (");
        append(root);
        write(")::integer END");
    }

    // UPDATE table SET ... WHERE ..., DELETE FROM table WHERE ...
    void change()
    {
        const std::size_t name = tokens[0].is("DELETE") ? 2 : 1;
        const auto table = name < tokens.size() ? recordTable(tokens[name]) : std::nullopt;
        result.writtenKinds = table ? kindOf(tokens[name]) : database::RecordKind::Other;
        if (!table)
            return append(all());
        for (std::size_t at = 0; at < name; ++at)
            writeToken(tokens[at]);
        write(" " + qualified(*table));
        std::size_t where = name + 1;
        for (int depth = 0; where < tokens.size(); ++where) {
            depth += depthChange(tokens[where]);
            if (depth == 0 && tokens[where].is("WHERE"))
                break;
        }
        append({name + 1, where});
        write(" WHERE " + ofStore());
        if (where < tokens.size()) {
            write(" AND (");
            append({where + 1, tokens.size()}, true);
            write(")");
        }
    }

    static database::RecordKind kindOf(const SqlToken& table)
    {
        return database::recordKindOf(QString::fromUtf8(table.text));
    }

    const SqlTokens tokens;
    Translation result;
};

} // namespace

Translation translate(const QString& sql)
{
    return Translator(sql).run();
}

} // namespace sync::fleet
