#include <testkit/checks/CheckRun.h>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

// The forms in which the managers' statements are written, each on the rows 1 "a", 2 "b", 2 "b".
void runsTheStatementForms(CheckRun& run)
{
    for (const QString& text : {u"a"_s, u"b"_s, u"b"_s}) {
        run.database.exec(
            u"INSERT INTO VelmioCheck (words, number) VALUES (:words, :number)"_s,
            {{u":words"_s, text}, {u":number"_s, text == u"a" ? 1 : 2}});
    }
    run.database.exec(u"INSERT INTO VelmioOther (words, parentId) VALUES ('of a', 1);"_s);

    const auto expectCount = [&run](qsizetype count, const QString& sql, const Bindings& bindings) {
        const qsizetype rows = run.database.column(sql, bindings).size();
        run.expect(rows == count, u"%1 gave %2 rows, not %3"_s.arg(sql).arg(rows).arg(count));
    };
    expectCount(2, u"SELECT DISTINCT words, number FROM VelmioCheck"_s, {});
    expectCount(1, u"SELECT words FROM VelmioCheck WHERE Number = :id;"_s, {{u":id"_s, 1}});
    expectCount(
        2, u"SELECT words FROM VelmioCheck WHERE number = :n  AND words = :w"_s,
        {{u":n"_s, 2}, {u":w"_s, u"b"_s}});
    expectCount(
        1,
        u"SELECT C.words FROM VelmioCheck AS C JOIN VelmioOther AS O"
        u" ON O.ParentID = C.number WHERE C.number = :id;"_s,
        {{u":id"_s, 1}});
    const int counted =
        run.database.value(u"SELECT count(*) from VelmioCheck WHERE number=2;"_s).toInt();
    run.expect(counted == 2, u"count(*) of two rows is %1"_s.arg(counted));
}

void comparesNumbersWithDigits(CheckRun& run)
{
    run.database.insert(u"parentId"_s, 0);
    run.database.insert(u"parentId"_s, 1);

    const qsizetype rows =
        run.database.column(u"SELECT id FROM VelmioCheck WHERE parentId = '0'"_s).size();
    run.expect(rows == 1, u"parentId = '0' found %1 rows, not 1"_s.arg(rows));
}

void takesAnEmptyList(CheckRun& run)
{
    run.database.insert(u"number"_s, 1);
    run.database.insert(u"number"_s, 2);

    const qsizetype all =
        run.database.column(u"SELECT id FROM VelmioCheck WHERE number NOT IN ()"_s).size();
    run.expect(all == 2, u"NOT IN () found %1 of 2 rows"_s.arg(all));
    const qsizetype others =
        run.database.column(u"SELECT id FROM VelmioCheck WHERE number NOT IN (1,7)"_s).size();
    run.expect(others == 1, u"NOT IN (1,7) found %1 rows, not 1"_s.arg(others));
}

void comparesTextsExactly(CheckRun& run)
{
    const QStringList texts{u"name"_s, u"Name"_s, u"name "_s, u"\u00E9"_s, u"e\u0301"_s, u"e"_s};
    for (const QString& text : texts)
        run.database.insert(u"words"_s, text);

    for (const QString& text : texts) {
        const QVariantList found = run.database.column(
            u"SELECT words FROM VelmioCheck WHERE words = :words"_s, {{u":words"_s, text}});
        run.expect(
            found.size() == 1 && found.first().toString() == text,
            u"%1 found %2 rows, not its own alone"_s.arg(shown(text)).arg(found.size()));
    }
}

void tellsTheNewId(CheckRun& run)
{
    // Ids of the two tables that differ, so that one is not taken for the other.
    for (int row = 0; row < 3; ++row)
        run.database.exec(u"INSERT INTO VelmioOther (words) VALUES ('other')"_s);
    for (const QString& text : {u"a"_s, u"b"_s}) {
        const int id = run.database.insert(u"words"_s, text);
        const int stored =
            run.database
                .value(u"SELECT id FROM VelmioCheck WHERE words = :words"_s, {{u":words"_s, text}})
                .toInt();
        run.expect(id == stored, u"lastInsertId() is %1, the row's id %2"_s.arg(id).arg(stored));
    }
    const Query other = run.database.exec(u"INSERT INTO VelmioOther (words) VALUES ('last')"_s);
    const int stored =
        run.database.value(u"SELECT id FROM VelmioOther WHERE words = 'last'"_s).toInt();
    run.expect(
        other->lastInsertId().toInt() == stored,
        u"lastInsertId() after an INSERT into a second table is %1, the row's id %2"_s
            .arg(other->lastInsertId().toInt())
            .arg(stored));
}

void countsTouchedRows(CheckRun& run)
{
    for (const int number : {1, 1, 1, 2})
        run.database.insert(u"number"_s, number);

    const auto expectTouched = [&run](int count, const QString& sql) {
        const int touched = run.database.exec(sql)->numRowsAffected();
        run.expect(
            touched == count,
            u"%1 touched %2 rows, numRowsAffected() is %3"_s.arg(sql).arg(count).arg(touched));
    };
    expectTouched(3, u"UPDATE VelmioCheck SET words = 'x' WHERE number = 1"_s);
    // Rows that it leaves unchanged also count as touched.
    expectTouched(3, u"UPDATE VelmioCheck SET words = 'x' WHERE number = 1"_s);
    expectTouched(0, u"UPDATE VelmioCheck SET words = 'x' WHERE number = 9"_s);
    expectTouched(1, u"DELETE FROM VelmioCheck WHERE number = 2"_s);
    expectTouched(0, u"DELETE FROM VelmioCheck WHERE number = 2"_s);
}

} // namespace

QList<Check> statementChecks()
{
    return {
        {u"runsTheStatementForms"_s,
         u"DISTINCT, JOIN, count(*), a \";\" at the end and names in another case are understood."_s,
         runsTheStatementForms},
        {u"comparesNumbersWithDigits"_s, u"A number equals its digits as a text: parentId = '0'."_s,
         comparesNumbersWithDigits},
        {u"takesAnEmptyList"_s, u"NOT IN () is understood, and excludes nothing."_s,
         takesAnEmptyList},
        {u"comparesTextsExactly"_s,
         u"Texts are equal only when every character is: case, accents, blanks at the end."_s,
         comparesTextsExactly},
        {u"tellsTheNewId"_s, u"lastInsertId() is the id of the row just inserted."_s,
         tellsTheNewId},
        {u"countsTouchedRows"_s,
         u"numRowsAffected() counts the rows that an UPDATE or DELETE has touched."_s,
         countsTouchedRows},
    };
}

} // namespace sync::testkit
