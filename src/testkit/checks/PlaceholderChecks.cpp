#include <testkit/checks/CheckRun.h>

using namespace Qt::StringLiterals;

namespace sync::testkit {

namespace {

void bindsByName(CheckRun& run)
{
    const Query query = run.database.prepare(
        u"INSERT INTO VelmioCheck (words, wordsMore) VALUES (:first, :second)"_s,
        {{u":second"_s, u"two"_s}, {u":first"_s, u"one"_s}});
    run.expect(query->exec(), u"exec() failed: %1"_s.arg(query->lastError()));

    const QString read = run.database.value(u"SELECT words FROM VelmioCheck"_s).toString() + u'/' +
                         run.database.value(u"SELECT wordsMore FROM VelmioCheck"_s).toString();
    run.expect(
        read == u"one/two",
        u":first = \"one\", :second = \"two\", bound from the last to the first, became %1"_s.arg(
            shown(read)));
}

void bindsRepeated(CheckRun& run)
{
    run.database.exec(
        u"INSERT INTO VelmioCheck (words, number, wordsMore) VALUES (:text, :number, :text)"_s,
        {{u":text"_s, u"same"_s}, {u":number"_s, 7}});

    const QString read = run.database.value(u"SELECT words FROM VelmioCheck"_s).toString() + u'/' +
                         run.database.value(u"SELECT number FROM VelmioCheck"_s).toString() + u'/' +
                         run.database.value(u"SELECT wordsMore FROM VelmioCheck"_s).toString();
    run.expect(
        read == u"same/7/same",
        u":text = \"same\", :number = 7, :text again became %1"_s.arg(shown(read)));
}

// Such as ":checkSum" and ":checkSumMD5", ":domain" and ":domainId".
void tellsPlaceholdersApart(CheckRun& run)
{
    run.database.exec(
        u"INSERT INTO VelmioCheck (words, wordsMore, number)"
        u" VALUES (:check, :checkSum, :checkSumMD5)"_s,
        {{u":check"_s, u"a"_s}, {u":checkSum"_s, u"b"_s}, {u":checkSumMD5"_s, 3}});

    const QString read = run.database.value(u"SELECT words FROM VelmioCheck"_s).toString() + u'/' +
                         run.database.value(u"SELECT wordsMore FROM VelmioCheck"_s).toString() +
                         u'/' + run.database.value(u"SELECT number FROM VelmioCheck"_s).toString();
    run.expect(
        read == u"a/b/3",
        u":check = \"a\", :checkSum = \"b\", :checkSumMD5 = 3 became %1"_s.arg(shown(read)));
}

void leavesPlaceholdersInValues(CheckRun& run)
{
    run.database.exec(
        u"INSERT INTO VelmioCheck (words, wordsMore) VALUES (:first, :second)"_s,
        {{u":first"_s, u":second ? %1 ' \" ; -- $1 @first"_s}, {u":second"_s, u":first"_s}});

    const QVariant first = run.database.value(u"SELECT words FROM VelmioCheck"_s);
    const QVariant second = run.database.value(u"SELECT wordsMore FROM VelmioCheck"_s);
    run.expect(
        first.toString() == u":second ? %1 ' \" ; -- $1 @first",
        u"a bound text that looks like SQL became %1"_s.arg(shown(first)));
    run.expect(
        second.toString() == u":first",
        u"the bound text \":first\" became %1"_s.arg(shown(second)));
}

void readsUnboundAsNull(CheckRun& run)
{
    run.database.exec(
        u"INSERT INTO VelmioCheck (words, number) VALUES (:words, :number)"_s, {{u":number"_s, 1}});

    const QVariant read = run.database.value(u"SELECT words FROM VelmioCheck"_s);
    run.expect(read.isNull(), u"a placeholder without a value became %1"_s.arg(shown(read)));
}

void tellsWhatIsBound(CheckRun& run)
{
    const QString sql = u"SELECT words FROM VelmioCheck WHERE id = :id AND number = :idOfOther"_s;
    const Query query = run.database.prepare(sql, {{u":id"_s, 7}, {u":idOfOther"_s, u"eight"_s}});

    run.expect(query->lastQuery() == sql, u"lastQuery() is %1"_s.arg(shown(query->lastQuery())));
    run.expect(
        query->boundValue(u":id"_s).toInt() == 7,
        u"boundValue(\":id\") is %1, not 7"_s.arg(shown(query->boundValue(u":id"_s))));
    run.expect(
        query->boundValue(u":idOfOther"_s).toString() == u"eight",
        u"boundValue(\":idOfOther\") is %1"_s.arg(shown(query->boundValue(u":idOfOther"_s))));
}

} // namespace

QList<Check> placeholderChecks()
{
    return {
        {u"bindsByName"_s,
         u"Values go to placeholders by name, in whatever order they are bound."_s, bindsByName},
        {u"bindsRepeated"_s, u"A placeholder that stands twice has its value at both places."_s,
         bindsRepeated},
        {u"tellsPlaceholdersApart"_s, u"Placeholders that begin alike are different ones."_s,
         tellsPlaceholdersApart},
        {u"leavesPlaceholdersInValues"_s,
         u"A bound text is a value, also when it looks like a placeholder or SQL."_s,
         leavesPlaceholdersInValues},
        {u"readsUnboundAsNull"_s, u"A placeholder that receives no value is NULL."_s,
         readsUnboundAsNull},
        {u"tellsWhatIsBound"_s, u"lastQuery() and boundValue() tell what the query was given."_s,
         tellsWhatIsBound},
    };
}

} // namespace sync::testkit
