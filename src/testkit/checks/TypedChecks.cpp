#include <testkit/checks/CheckRun.h>

#include <interf/IQSqlTypedQuery.h>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

using interf::IQSqlTypedQuery;

std::shared_ptr<IQSqlTypedQuery> typed(const Query& query)
{
    auto same = std::dynamic_pointer_cast<IQSqlTypedQuery>(query);
    if (!same)
        throw Skipped{u"the queries are no IQSqlTypedQuery, which is optional"_s};
    return same;
}

void readsTypedAlike(CheckRun& run)
{
    const QDateTime time(QDate(2021, 6, 15), QTime(12, 34, 56, 789), Qt::OffsetFromUTC, 20700);
    const QList<std::pair<QString, QVariant>> samples{
        {u"number"_s, 42},
        {u"number"_s, 9007199254740993LL},
        {u"number"_s, QVariant()},
        {u"fraction"_s, 2.75},
        {u"words"_s, u"text \U0001F4BB"_s},
        {u"words"_s, u"42"_s},
        {u"words"_s, QString()},
        {u"moment"_s, time},
        {u"moment"_s, time.toUTC()},
        {u"moment"_s, QDateTime()}};
    for (const auto& [column, stored] : samples) {
        run.database.exec(u"DELETE FROM VelmioCheck"_s);
        run.database.insert(column, stored);
        const auto query = typed(run.database.exec(u"SELECT "_s + column + u" FROM VelmioCheck"_s));
        if (!query->next())
            throw Stopped{u"the row that was stored is not found"_s};
        const QVariant plain = query->value(0);
        const QString what = u" differs from value(0), which is "_s + shown(plain);
        run.expect(query->intValue(0) == plain.toInt(), u"intValue(0)"_s + what);
        run.expect(query->longLongValue(0) == plain.toLongLong(), u"longLongValue(0)"_s + what);
        run.expect(query->textValue(0) == plain.toString(), u"textValue(0)"_s + what);
        QDateTime labelled = plain.toDateTime();
        labelled.setTimeSpec(Qt::UTC);
        const QDateTime read = query->utcTimeValue(0);
        run.expect(read == labelled && read.timeSpec() == Qt::UTC, u"utcTimeValue(0)"_s + what);
        run.expect(
            query->holdsText(0, u"42") ==
                (plain.typeId() == QMetaType::QString && plain.toString() == u"42"),
            u"holdsText(0, \"42\") is wrong of "_s + shown(plain));
    }
}

void bindsTypedAlike(CheckRun& run)
{
    const QDateTime time(QDate(2021, 6, 15), QTime(12, 34, 56, 789), Qt::UTC);
    const QString text = u"text \U0001F4BB"_s;
    constexpr qlonglong Number = 9007199254740993LL;
    const auto query = typed(run.database.prepare(
        u"INSERT INTO VelmioCheck (number, words, moment) VALUES (:number, :words, :moment)"_s));
    query->bindTime(u":moment"_s, time);
    query->bindText(u":words"_s, text);
    query->bindNumber(u":number"_s, Number);
    run.expect(query->exec(), u"exec() failed: "_s + query->lastError());
    // A null text and an invalid time.
    const auto nulls = typed(run.database.prepare(
        u"INSERT INTO VelmioCheck (words, moment) VALUES (:words, :moment)"_s));
    nulls->bindText(u":words"_s, QString());
    nulls->bindTime(u":moment"_s, QDateTime());
    run.expect(nulls->exec(), u"exec() failed: "_s + nulls->lastError());

    const QVariantList numbers =
        run.database.column(u"SELECT number FROM VelmioCheck ORDER BY id"_s);
    const QVariantList words = run.database.column(u"SELECT words FROM VelmioCheck ORDER BY id"_s);
    const QVariantList moments =
        run.database.column(u"SELECT moment FROM VelmioCheck ORDER BY id"_s);
    run.expect(
        numbers.value(0).toLongLong() == Number,
        u"bindNumber() stored "_s + shown(numbers.value(0)));
    run.expect(words.value(0).toString() == text, u"bindText() stored "_s + shown(words.value(0)));
    run.expect(
        moments.value(0).toDateTime().time() == time.time() &&
            moments.value(0).toDateTime().date() == time.date(),
        u"bindTime() stored "_s + shown(moments.value(0)));
    run.expect(
        words.value(1).isNull(), u"bindText() of a null text stored "_s + shown(words.value(1)));
    run.expect(
        moments.value(1).isNull(),
        u"bindTime() of a null time stored "_s + shown(moments.value(1)));
}

} // namespace

QList<Check> typedChecks()
{
    return {
        {u"readsTypedAlike"_s, u"A typed query's columns are what value() converts to."_s,
         readsTypedAlike},
        {u"bindsTypedAlike"_s, u"A typed query stores what bindValue() of the same value does."_s,
         bindsTypedAlike},
    };
}

} // namespace sync::testkit
