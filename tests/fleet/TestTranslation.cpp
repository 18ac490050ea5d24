#include <fleet/statement/Translation.h>

#include <QTest>

using namespace Qt::StringLiterals;
using sync::database::RecordKind;
using sync::fleet::translate;
using sync::fleet::Translation;

namespace {

QString parametersOf(const Translation& translation)
{
    using Meaning = Translation::Parameter::Meaning;
    QStringList names;
    for (const auto& parameter : translation.parameters) {
        names.append(
            parameter.meaning == Meaning::Store   ? u"store"_s
            : parameter.meaning == Meaning::NewId ? u"id"_s
                                                  : translation.placeholders[parameter.value]);
    }
    return names.join(u' ');
}

} // namespace

/// The statements of managers and hosts in PostgreSQL's terms.
class TestTranslation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void statementsSeeTheRowsOfTheStore_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<QString>("parameters");
        const auto row = [](const char* name, const QString& sql, const QString& expected,
                            const QString& parameters) {
            QTest::newRow(name) << sql << expected << parameters;
        };
        row("lookup", u"SELECT alias FROM ServerConfiguration WHERE id = :id;"_s,
            u"SELECT alias FROM (SELECT * FROM velmio.ServerConfiguration WHERE store = $1) AS "
            u"ServerConfiguration WHERE id = $2 ORDER BY id"_s,
            u"store :id"_s);
        row("join",
            u"SELECT S.id FROM ServerConfiguration AS S JOIN FolderConfiguration F ON F.a = S.id"_s,
            u"SELECT S.id FROM (SELECT * FROM velmio.ServerConfiguration WHERE store = $1) AS S "
            u"JOIN (SELECT * FROM velmio.FolderConfiguration WHERE store = $2) AS F ON F.a = S.id "
            u"ORDER BY S.id, F.id"_s,
            u"store store"_s);
        row("no order for a count", u"SELECT count(*) from Schedules WHERE a=0;"_s,
            u"SELECT count(*) from (SELECT * FROM velmio.Schedules WHERE store = $1) AS Schedules "
            u"WHERE a=0"_s,
            u"store"_s);
        row("no order for DISTINCT", u"SELECT DISTINCT a FROM Schedules"_s,
            u"SELECT DISTINCT a FROM (SELECT * FROM velmio.Schedules WHERE store = $1) AS "
            u"Schedules"_s,
            u"store"_s);
        row("ties", u"SELECT a FROM Schedules ORDER BY Name DESC, a LIMIT :n"_s,
            u"SELECT a FROM (SELECT * FROM velmio.Schedules WHERE store = $1) AS Schedules ORDER "
            u"BY Name DESC NULLS LAST, a NULLS FIRST, id LIMIT $2"_s,
            u"store :n"_s);
        row("by id", u"SELECT a FROM Schedules ORDER BY Id DESC"_s,
            u"SELECT a FROM (SELECT * FROM velmio.Schedules WHERE store = $1) AS Schedules ORDER "
            u"BY Id DESC"_s,
            u"store"_s);
        row("empty list", u"SELECT a FROM Schedules WHERE a NOT IN () ORDER BY id"_s,
            u"SELECT a FROM (SELECT * FROM velmio.Schedules WHERE store = $1) AS Schedules WHERE "
            u"a <> ALL ('{}') ORDER BY id"_s,
            u"store"_s);
        row("long text",
            u"SELECT id FROM FileConfiguration F WHERE F.clientPath = :p ORDER BY id"_s,
            u"SELECT id FROM (SELECT * FROM velmio.FileConfiguration WHERE store = $1) AS F WHERE "
            u"(F.clientPath = $2 AND md5(F.clientPath) = md5($3::text)) ORDER BY id"_s,
            u"store :p :p"_s);
        row("insert", u"INSERT INTO Schedules (a, b) VALUES (:a, 3);"_s,
            u"INSERT INTO velmio.Schedules (store, id, a, b) VALUES ($1, coalesce($2, (SELECT "
            u"Schedules FROM velmio.Counters WHERE store = $3)), $4, 3) RETURNING id"_s,
            u"store id store :a"_s);
        row("insert with id", u"INSERT INTO Schedules (id, a) VALUES (:id, :a)"_s,
            u"INSERT INTO velmio.Schedules (store, id, a) VALUES ($1, $2, $3) RETURNING id"_s,
            u"store :id :a"_s);
        row("update",
            u"UPDATE FileConfiguration SET clientPath = :p WHERE a = 1 OR clientPath = :o"_s,
            u"UPDATE velmio.FileConfiguration SET clientPath = $1 WHERE store = $2 AND (a = 1 OR "
            u"(clientPath = $3 AND md5(clientPath) = md5($4::text)))"_s,
            u":p store :o :o"_s);
        row("update of all", u"UPDATE Schedules SET a = ''';'"_s,
            u"UPDATE velmio.Schedules SET a = ''';' WHERE store = $1"_s, u"store"_s);
        row("delete", u"DELETE FROM Schedules WHERE id IN (SELECT a FROM Schedules)"_s,
            u"DELETE FROM velmio.Schedules WHERE store = $1 AND (id IN (SELECT a FROM (SELECT * "
            u"FROM velmio.Schedules WHERE store = $2) AS Schedules))"_s,
            u"store store"_s);
        row("comment", u"SELECT 1 -- :no\n/* FROM Schedules */ + :a::text"_s,
            u"SELECT 1 + $1::text"_s, u":a"_s);
    }
    void statementsSeeTheRowsOfTheStore()
    {
        QFETCH(QString, sql);
        QFETCH(QString, expected);
        QFETCH(QString, parameters);

        const Translation translation = translate(sql);

        QCOMPARE(QString::fromUtf8(translation.text), expected);
        QCOMPARE(parametersOf(translation), parameters);
    }

    void aRootFolderNamesItself()
    {
        const Translation translation = translate(
            u"INSERT INTO FolderConfiguration (parentId, rootId) VALUES (:parentId, :rootId)"_s);

        QVERIFY2(
            translation.text.contains("CASE WHEN ($5)::integer = 0 AND ($6)::integer = -1 THEN"),
            translation.text.constData());
    }

    void aTableOfTheHostMayHaveNoId()
    {
        const Translation list = translate(u"SELECT a FROM Own WHERE b = :b ORDER BY a LIMIT 1"_s);
        QVERIFY(list.text.contains(", id LIMIT 1"));
        QCOMPARE(
            list.textWithoutId, "SELECT a FROM Own WHERE b = $1 ORDER BY a NULLS FIRST LIMIT 1");
        const Translation plain = translate(u"SELECT a FROM Own"_s);
        QCOMPARE(plain.textWithoutId, "SELECT a FROM Own");
        const Translation added = translate(u"INSERT INTO Own (a) VALUES (1)"_s);
        QCOMPARE(added.text, "INSERT INTO Own (a) VALUES (1) RETURNING id");
        QCOMPARE(added.textWithoutId, "INSERT INTO Own (a) VALUES (1)");
    }

    void writesNameTheKindOfTheirRecords()
    {
        QVERIFY(translate(u"DELETE FROM schedules"_s).writtenKinds == RecordKind::Schedule);
        QVERIFY(translate(u"DELETE FROM Own"_s).writtenKinds == RecordKind::Other);
        QVERIFY(!translate(u"SELECT id FROM Schedules"_s).writtenKinds);
    }

    void whatWouldNeedAnotherStatementIsRefused_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::newRow("nothing") << u" -- nothing"_s;
        QTest::newRow("transaction") << u"BEGIN"_s;
        QTest::newRow("setting") << u"SET velmio.store = 'other'"_s;
        QTest::newRow("out of its parentheses")
            << u"DELETE FROM Schedules WHERE id = 1) OR (1 = 1"_s;
        QTest::newRow("two rows") << u"INSERT INTO Schedules (a) VALUES (1), (2)"_s;
        QTest::newRow("no columns") << u"INSERT INTO Schedules VALUES (1, 2)"_s;
        QTest::newRow("of a query") << u"INSERT INTO Schedules (a) SELECT a FROM Schedules"_s;
    }
    void whatWouldNeedAnotherStatementIsRefused()
    {
        QFETCH(QString, sql);

        const Translation translation = translate(sql);

        QCOMPARE(translation.kind, Translation::Kind::Refused);
        QVERIFY(!translation.refusal.isEmpty());
    }
};

QTEST_APPLESS_MAIN(TestTranslation)
#include "TestTranslation.moc"
