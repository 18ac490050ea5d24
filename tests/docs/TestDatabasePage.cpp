// docs/database.md agrees with a new database. With VELMIO_UPDATE_PAGES=1 in the environment its
// generated parts are rewritten.

#include <support/RawDatabase.h>

#include <database/SqliteDatabaseFactory.h>

#include <QFile>
#include <QMap>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <optional>

using namespace Qt::StringLiterals;
using sync::test::RawDatabase;

namespace {

struct Column
{
    QString name;
    QString type;
    QString meaning;
    QString refersTo; // a table, or empty
};

struct Table
{
    QString name;
    QList<Column> columns;
    QStringList indexes; // "name (columns)"
};

// The comment after a column is part of the text that SQLite keeps of a table.
Column columnOf(const QString& line)
{
    static const QRegularExpression form(u"^\\s*(\\w+) (.*?),?\\s*(?:-- (.*))?$"_s);
    static const QRegularExpression reference(u"(\\w+)\\.id\\b"_s);
    const auto parts = form.match(line);
    const QString meaning = parts.captured(3);
    return {parts.captured(1), parts.captured(2), meaning, reference.match(meaning).captured(1)};
}

QList<Column> columnsOf(const QString& tableSql)
{
    QList<Column> columns;
    const QStringList lines = tableSql.split(u'\n');
    for (const QString& line : lines.mid(1, lines.size() - 2))
        columns.append(columnOf(line));
    return columns;
}

QList<Table> tablesOf(RawDatabase& database)
{
    const auto parts = [&database](const QString& what) {
        return database.run(u"SELECT %1 FROM sqlite_schema WHERE type = 'table'"
                            u" AND name NOT LIKE 'sqlite_%' ORDER BY rootpage;"_s.arg(what));
    };
    const QStringList names = parts(u"name"_s);
    const QStringList texts = parts(u"sql"_s);
    QList<Table> tables;
    for (qsizetype i = 0; i < names.size(); ++i)
        tables.append(
            {names[i], columnsOf(texts[i]),
             database.run(u"SELECT '`' || name || '` on ' || substr(sql, instr(sql, '(')) "
                          u"FROM sqlite_schema WHERE type = 'index' AND tbl_name = '%1' "
                          u"AND sql IS NOT NULL ORDER BY name;"_s.arg(names[i]))});
    return tables;
}

QString textOf(const Table& table)
{
    QString text = u"| column | type | what it holds |\n|---|---|---|\n"_s;
    for (const Column& column : table.columns)
        text += u"| `%1` | %2 | %3 |\n"_s.arg(column.name, column.type, column.meaning);
    if (!table.indexes.isEmpty())
        text += u"\nIndexes: %1.\n"_s.arg(table.indexes.join(u", "_s));
    return text;
}

// A column of a view is the last name before its comment.
QMap<QString, QString> viewsOf(RawDatabase& database)
{
    static const QRegularExpression form(
        u"(\\w+),? -- (.*)$"_s, QRegularExpression::MultilineOption);
    QMap<QString, QString> views;
    const QStringList names = database.run(u"SELECT name FROM sqlite_schema WHERE type = 'view'"_s);
    for (const QString& name : names) {
        const QString sql =
            database.value(u"SELECT sql FROM sqlite_schema WHERE name = '%1'"_s.arg(name));
        const QStringList columns =
            database.run(u"SELECT name FROM pragma_table_info('%1')"_s.arg(name));
        QString text = u"| column | what it holds |\n|---|---|\n"_s;
        QStringList explained;
        for (const auto& match : form.globalMatch(sql)) {
            explained += match.captured(1);
            text += u"| `%1` | %2 |\n"_s.arg(match.captured(1), match.captured(2));
        }
        views[name] = explained == columns ? text : u"not every column is explained"_s;
    }
    return views;
}

QString relationsOf(const QList<Table>& tables)
{
    QString text = u"```mermaid\nerDiagram\n"_s;
    for (const Table& table : tables) {
        for (const Column& column : table.columns) {
            if (!column.refersTo.isEmpty())
                text += u"    %1 }o--o| %2 : %3\n"_s.arg(table.name, column.refersTo, column.name);
        }
    }
    return text + u"```\n"_s;
}

/// The parts of the page between "<!-- schema: NAME -->" and "<!-- end of schema -->".
QMap<QString, QString> generatedParts(RawDatabase& database)
{
    const QList<Table> tables = tablesOf(database);
    QMap<QString, QString> parts = viewsOf(database);
    parts[u"relations"_s] = relationsOf(tables);
    for (const Table& table : tables)
        parts[table.name] = textOf(table);
    return parts;
}

std::optional<QString> withPart(const QString& page, const QString& name, const QString& text)
{
    const QString begin = u"<!-- schema: %1 -->\n"_s.arg(name);
    const qsizetype start = page.indexOf(begin);
    const qsizetype end = page.indexOf(u"<!-- end of schema -->"_s, start);
    if (start < 0 || end < 0)
        return {};
    return page.first(start) + begin + u'\n' + text + u'\n' + page.sliced(end);
}

} // namespace

class TestDatabasePage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void showsTheSchemaOfALiveDatabase();
};

void TestDatabasePage::showsTheSchemaOfALiveDatabase()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"live.db"_s);
    sync::database::SqliteDatabaseFactory::open(path);
    RawDatabase database(path);
    QFile file(QStringLiteral(VELMIO_SOURCE_DIRECTORY "/docs/database.md"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString page = QString::fromUtf8(file.readAll());
    file.close();

    QString current = page;
    const auto parts = generatedParts(database);
    for (auto part = parts.begin(); part != parts.end(); ++part) {
        const auto replaced = withPart(current, part.key(), part.value());
        QVERIFY2(replaced, qPrintable(u"the page has no part for %1"_s.arg(part.key())));
        current = *replaced;
    }
    if (qEnvironmentVariableIsSet("VELMIO_UPDATE_PAGES")) {
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(current.toUtf8());
    }

    QCOMPARE(page, current);
    QCOMPARE(page.count(u"<!-- schema: "_s), parts.size());
}

QTEST_GUILESS_MAIN(TestDatabasePage)
#include "TestDatabasePage.moc"
