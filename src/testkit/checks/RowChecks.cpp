#include <testkit/checks/CheckRun.h>

#include <QSet>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

void handsOutANewQueryEachTime(CheckRun& run)
{
    run.database.insert(u"words"_s, u"first"_s);
    run.database.insert(u"words"_s, u"second"_s);
    const QString sql = u"SELECT words FROM VelmioCheck WHERE id = :id"_s;
    const int id = run.database.value(u"SELECT min(id) FROM VelmioCheck"_s).toInt();

    // Two at once, each with its own text, values and row.
    const Query one = run.database.prepare(sql, {{u":id"_s, id}});
    const Query other = run.database.prepare(sql, {{u":id"_s, id + 1}});
    run.expect(one != other, u"CreateQuery() gave the same query twice"_s);
    const bool executed = one->exec() && other->exec() && one->next() && other->next();
    const QString read = one->value(0).toString() + u'/' + other->value(0).toString();
    run.expect(
        executed && read == u"first/second",
        u"two queries of one text at the same time read %1"_s.arg(shown(read)));
}

void ordersRows(CheckRun& run)
{
    // Inserted in an order that no query below asks for.
    const QStringList texts{u"c"_s, u"a"_s, u"d"_s, u"b"_s, u"B"_s};
    for (const QString& text : texts)
        run.database.insert(u"words"_s, text);

    const auto read = [&run](const QString& order) {
        QStringList words;
        const QVariantList values =
            run.database.column(u"SELECT words FROM VelmioCheck ORDER BY "_s + order);
        for (const QVariant& value : values)
            words.append(value.toString());
        return words.join(u' ');
    };
    for (const auto& [order, expected] :
         {std::pair(u"id"_s, u"c a d b B"_s), {u"id DESC"_s, u"B b d a c"_s}})
        run.expect(
            read(order) == expected,
            u"ORDER BY %1 gave %2, not %3"_s.arg(order, read(order), expected));
    // Where capitals sort depends on the collation; the rest does not.
    const QString byName = read(u"words"_s).remove(u"B"_s).simplified();
    run.expect(byName == u"a b c d", u"ORDER BY words gave "_s + byName);
}

// The managers' lists without an order of their own rely on it.
void keepsRowsInTheOrderOfTheirIds(CheckRun& run)
{
    for (const QString& text : {u"a"_s, u"b"_s, u"c"_s, u"d"_s})
        run.database.insert(u"words"_s, text);
    const auto read = [&run] {
        QStringList words;
        for (const QVariant& value : run.database.column(u"SELECT words FROM VelmioCheck"_s))
            words.append(value.toString());
        return words.join(u' ');
    };

    run.expect(read() == u"a b c d", u"without ORDER BY the rows came as "_s + read());
    // Longer than before, so that a database that moves such rows does so.
    const QString longText(500, u'x');
    for (const QString& text : {u"c"_s, u"a"_s}) {
        run.database.exec(
            u"UPDATE VelmioCheck SET wordsMore = :more WHERE words = :words"_s,
            {{u":more"_s, longText}, {u":words"_s, text}});
    }
    run.expect(read() == u"a b c d", u"after updates of \"c\" and \"a\" they came as "_s + read());
}

void walksEveryRowOnce(CheckRun& run)
{
    constexpr int Rows = 300;
    for (int number = 0; number < Rows; ++number)
        run.database.insert(u"number"_s, number);

    const Query query = run.database.prepare(u"SELECT number FROM VelmioCheck ORDER BY number"_s);
    query->setForwardOnly(true);
    run.expect(query->exec(), u"exec() failed: "_s + query->lastError());
    run.expect(!query->isValid(), u"isValid() is true before the first next()"_s);
    int row = 0;
    bool inOrder = true;
    for (; query->next(); ++row)
        inOrder = inOrder && query->isValid() && query->value(0).toInt() == row;
    run.expect(row == Rows, u"next() was true %1 times for %2 rows"_s.arg(row).arg(Rows));
    run.expect(inOrder, u"a row was not the next one, or isValid() false on it"_s);
    run.expect(!query->isValid(), u"isValid() is true after the last row"_s);
    run.expect(!query->next(), u"next() is true after the last row"_s);

    const Query empty = run.database.exec(u"SELECT number FROM VelmioCheck WHERE number = -1"_s);
    run.expect(!empty->next() && !empty->isValid(), u"a row was found where none exists"_s);
}

void answersNothingOutsideTheRow(CheckRun& run)
{
    run.database.insert(u"number"_s, 7);
    const Query query = run.database.exec(u"SELECT number FROM VelmioCheck"_s);

    run.expect(query->value(0).isNull(), u"value(0) is not null before the first row"_s);
    run.expect(query->next() && query->value(0).toInt() == 7, u"value(0) on the row is wrong"_s);
    run.expect(query->value(1).isNull(), u"value(1) of one column is not null"_s);
    run.expect(query->value(-1).isNull(), u"value(-1) is not null"_s);
    run.expect(
        !query->next() && query->value(0).isNull(), u"value(0) is not null after the last row"_s);
}

} // namespace

QList<Check> rowChecks()
{
    return {
        {u"handsOutANewQueryEachTime"_s,
         u"CreateQuery() gives a new query, beside others in use."_s, handsOutANewQueryEachTime},
        {u"ordersRows"_s, u"Rows come in the order that the statement asks for."_s, ordersRows},
        {u"keepsRowsInTheOrderOfTheirIds"_s,
         u"Without ORDER BY rows come in the order of their ids, also after updates."_s,
         keepsRowsInTheOrderOfTheirIds},
        {u"walksEveryRowOnce"_s,
         u"next() goes over every row once; isValid() is true on a row and nowhere else."_s,
         walksEveryRowOnce},
        {u"answersNothingOutsideTheRow"_s,
         u"value() is null without a row, and where there is no such column."_s,
         answersNothingOutsideTheRow},
    };
}

} // namespace sync::testkit
