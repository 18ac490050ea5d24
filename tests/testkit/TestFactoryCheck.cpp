#include <support/CapturedWarnings.h>
#include <support/TemporaryPlace.h>
#include <testkit/StatementFaults.h>
#include <testkit/ThreadFaults.h>
#include <testkit/TransactionFaults.h>

#include <database/SqliteDatabaseFactory.h>
#include <testkit/FactoryCheck.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <stdexcept>

using namespace Qt::StringLiterals;
using namespace sync::testkit;
using namespace sync::test;
using sync::database::SqliteDatabaseFactory;
using sync::interf::factory::IDatabaseFactory;

namespace {

using Factory = std::shared_ptr<IDatabaseFactory>;

template <typename Faulty>
Factory madeFaulty(const Factory& sound)
{
    if constexpr (std::is_base_of_v<IDatabaseFactory, Faulty>)
        return std::make_shared<Faulty>(sound);
    else if constexpr (std::is_base_of_v<sync::interf::IQSqlDatabaseWrapper, Faulty>)
        return std::make_shared<PassingFactory<PassingQuery, Faulty>>(sound);
    else
        return std::make_shared<PassingFactory<Faulty>>(sound);
}

struct Fault
{
    const char* name;
    Factory (*plant)(const Factory& sound);
    QStringList broken;   // the check that is there for it first, then those that notice it as well
    QString noticed = {}; // one that may notice it, as threads happen to run
};

// clang-format off
const Fault Faults[] = {
    {"binds by position", madeFaulty<BindsByPosition>, {u"bindsByName"_s, u"readsUnboundAsNull"_s}},
    {"binds the first occurrence only", madeFaulty<BindsTheFirstOccurrenceOnly>, {u"bindsRepeated"_s}},
    {"binds by prefix", madeFaulty<BindsByPrefix>, {u"tellsPlaceholdersApart"_s, u"tellsWhatIsBound"_s}},
    {"takes values for placeholders", madeFaulty<TakesValuesForPlaceholders>, {u"leavesPlaceholdersInValues"_s}},
    {"fills unbound placeholders", madeFaulty<FillsUnboundPlaceholders>, {u"readsUnboundAsNull"_s}},
    {"tells another statement", madeFaulty<TellsAnotherStatement>, {u"tellsWhatIsBound"_s}},
    {"forgets what is bound", madeFaulty<ForgetsWhatIsBound>, {u"tellsWhatIsBound"_s}},
    {"32-bit numbers", madeFaulty<Has32BitNumbers>, {u"keepsWholeNumbers"_s}},
    {"single precision", madeFaulty<HasSinglePrecision>, {u"keepsFractions"_s}},
    {"cuts long texts", madeFaulty<CutsLongTexts>, {u"keepsTexts"_s}},
    {"trims texts", madeFaulty<TrimsTexts>, {u"keepsTexts"_s, u"comparesTextsExactly"_s}},
    {"cuts surrogates", madeFaulty<CutsSurrogates>, {u"keepsUnicode"_s}},
    {"normalises texts", madeFaulty<NormalisesTexts>, {u"keepsUnicode"_s, u"comparesTextsExactly"_s}},
    {"cuts at NUL", madeFaulty<CutsAtNul>, {u"keepsOrRefusesNul"_s}},
    {"cuts bytes at NUL", madeFaulty<CutsBytesAtNul>, {u"keepsBytes"_s}},
    {"stores null as empty", madeFaulty<StoresNullAsEmpty>, {u"keepsNulls"_s}},
    {"stores empty as null", madeFaulty<StoresEmptyAsNull>, {u"tellsEmptyFromNull"_s}},
    {"converts times to local time", madeFaulty<ConvertsTimesToLocalTime>, {u"keepsClockReadings"_s}},
    {"converts times to UTC", madeFaulty<ConvertsTimesToUtc>, {u"keepsClockReadings"_s}},
    {"cuts milliseconds", madeFaulty<CutsMilliseconds>, {u"keepsMilliseconds"_s}},
    {"converts typed times", madeFaulty<ConvertsTypedTimes>, {u"readsTypedAlike"_s}},
    {"holds text of numbers", madeFaulty<HoldsTextOfNumbers>, {u"readsTypedAlike"_s}},
    {"stores typed null as empty", madeFaulty<StoresTypedNullAsEmpty>, {u"bindsTypedAlike"_s}},
    {"refuses semicolons", madeFaulty<RefusesSemicolons>, {u"runsTheStatementForms"_s}},
    {"compares by type", madeFaulty<ComparesByType>, {u"comparesNumbersWithDigits"_s}},
    {"replaces an empty list by NULL", madeFaulty<ReplacesEmptyListByNull>, {u"takesAnEmptyList"_s}},
    {"ignores case", madeFaulty<IgnoresCase>, {u"comparesTextsExactly"_s}},
    {"tells another id", madeFaulty<TellsAnotherId>, {u"tellsTheNewId"_s, u"servesThreadsAtOnce"_s}},
    {"counts no rows", madeFaulty<CountsNoRows>, {u"countsTouchedRows"_s}},
    {"counts changed rows", madeFaulty<CountsChangedRows>, {u"countsTouchedRows"_s}},
    {"reuses its query", madeFaulty<ReusesItsQuery>, {u"handsOutANewQueryEachTime"_s, u"tellsTheNewId"_s, u"tellsItsErrors"_s}},
    {"orders upwards only", madeFaulty<OrdersUpwardsOnly>, {u"ordersRows"_s}},
    {"stops after a block", madeFaulty<StopsAfterABlock>, {u"walksEveryRowOnce"_s}},
    {"stands on a row too early", madeFaulty<StandsOnARowTooEarly>, {u"walksEveryRowOnce"_s}},
    {"answers the nearest column", madeFaulty<AnswersTheNearestColumn>, {u"answersNothingOutsideTheRow"_s}},
    {"executes what is not prepared", madeFaulty<ExecutesWhatIsNotPrepared>, {u"failsOnWhatCannotBePrepared"_s}},
    {"ignores duplicates", madeFaulty<IgnoresDuplicates>, {u"failsOnADuplicateId"_s, u"tellsItsErrors"_s, u"survivesFailedStatements"_s}},
    {"tells no error", madeFaulty<TellsNoError>, {u"tellsItsErrors"_s}},
    {"always tells an error", madeFaulty<AlwaysTellsAnError>, {u"tellsItsErrors"_s}},
    {"reads nothing in scopes", madeFaulty<ReadsNothingInScopes>, {u"readsItsOwnWritesInScopes"_s}},
    {"loses nested writes", [](const Factory& sound) -> Factory {
         return std::make_shared<PassingFactory<LosesNestedWrites, NotesTransactions>>(sound);
     }, {u"storesWhatNestedScopesDo"_s, u"readsItsOwnWritesInScopes"_s}},
    {"ignores commit()", madeFaulty<IgnoresCommit>, {u"commitsTransactions"_s, u"storesWithCommitOnly"_s, u"refusesTransactionsOutOfTurn"_s, u"survivesFailedStatements"_s}},
    {"ignores transactions", madeFaulty<IgnoresTransactions>, {u"storesWithCommitOnly"_s, u"rollsTransactionsBack"_s, u"refusesTransactionsOutOfTurn"_s, u"keepsTransactionsOpenUnderScopes"_s, u"keepsTransactionsOfThreadsApart"_s}},
    {"commits on rollback()", madeFaulty<CommitsOnRollback>, {u"rollsTransactionsBack"_s, u"keepsTransactionsOpenUnderScopes"_s, u"keepsTransactionsOfThreadsApart"_s}},
    {"begins twice", madeFaulty<BeginsTwice>, {u"refusesTransactionsOutOfTurn"_s}},
    {"commits with scopes", madeFaulty<CommitsWithScopes>, {u"keepsTransactionsOpenUnderScopes"_s}},
    {"moves updated rows", madeFaulty<MovesUpdatedRows>, {u"keepsRowsInTheOrderOfTheirIds"_s}},
    {"rolls back on errors", [](const Factory& sound) -> Factory {
         return std::make_shared<PassingFactory<RollsBackOnErrors, NotesTransactions>>(sound);
     }, {u"survivesFailedStatements"_s}},
    {"commits scopes that an exception leaves", madeFaulty<CommitsEveryScope>, {u"endsScopesThatItJoins"_s}},
    {"counts no failures", madeFaulty<CountsNoFailures>, {u"countsItsFailures"_s}},
    {"reports before the commit", madeFaulty<ReportsBeforeTheCommit>, {u"reportsItsChanges"_s}},
    {"serves one thread", madeFaulty<ServesOneThread>, {u"servesThreadsAtOnce"_s, u"keepsQueriesOfThreadsApart"_s, u"keepsTransactionsOfThreadsApart"_s}},
    {"shares its values", madeFaulty<SharesItsValues>, {u"keepsQueriesOfThreadsApart"_s, u"handsOutANewQueryEachTime"_s}, u"servesThreadsAtOnce"_s},
    {"shares its connection", madeFaulty<SharesItsConnection>, {u"keepsTransactionsOfThreadsApart"_s}},
};
// clang-format on

QStringList namesOf(const CheckReport& report, Outcome outcome)
{
    QStringList names;
    for (const CheckResult& result : report.results()) {
        if (result.outcome == outcome)
            names.append(result.name);
    }
    return names;
}

QStringList sorted(QStringList names)
{
    names.sort();
    return names;
}

} // namespace

class TestFactoryCheck : public QObject
{
    Q_OBJECT

public:
    // In a zone other than UTC, where a conversion shows.
    static void initMain() { qputenv("TZ", "America/New_York"); }

private Q_SLOTS:
    void init();
    void cleanup();

    void findsThePlantedFault_data();
    void findsThePlantedFault();
    void findsAStoreThatOthersDoNotSee();
    void findsAQueryThatIsNotReleased();
    void everyCheckHasAFault();
    void tellsWhatItCouldNotCheck();
    void tellsTheReasonOfAFailure();
    void anExceptionIsAFinding();
    void aNameThatIsNoCheckIsNotRun();
    void tablesAreMadeAsTheHostSays();
    void leavesNoTableBehind();
    void theReportReadsAsText();
    void theReportReadsAsJson();

private:
    Host hostOf(const Factory& checked) const;

    std::unique_ptr<QTemporaryDir> folder;
    std::shared_ptr<SqliteDatabaseFactory> sound;
};

void TestFactoryCheck::init()
{
    folder = std::make_unique<QTemporaryDir>(temporaryPlaceInMemory());
    sound = SqliteDatabaseFactory::open(folder->filePath(u"store.db"_s));
}

void TestFactoryCheck::cleanup()
{
    KeepsItsQueries::kept.clear();
    sound.reset();
}

Host TestFactoryCheck::hostOf(const Factory& checked) const
{
    Host host;
    host.factory = checked;
    host.reopen = [path = sound->path()] { return SqliteDatabaseFactory::open(path); };
    return host;
}

void TestFactoryCheck::findsThePlantedFault_data()
{
    QTest::addColumn<int>("index");
    int index = 0;
    for (const Fault& fault : Faults)
        QTest::addRow("%s", fault.name) << index++;
}

void TestFactoryCheck::findsThePlantedFault()
{
    QFETCH(const int, index);
    const Fault& fault = Faults[index];
    const CapturedWarnings refusals;

    const CheckReport report = FactoryCheck(hostOf(fault.plant(sound))).runAll();

    QStringList broken = namesOf(report, Outcome::Failed);
    broken.removeAll(fault.noticed);
    QCOMPARE(sorted(broken).join(u' '), sorted(fault.broken).join(u' '));
}

void TestFactoryCheck::findsAStoreThatOthersDoNotSee()
{
    const CapturedWarnings refusals;
    Host host = hostOf(sound);
    host.reopen = [this] { return SqliteDatabaseFactory::open(folder->filePath(u"other.db"_s)); };

    const CheckReport report = FactoryCheck(host).runAll();

    QCOMPARE(
        namesOf(report, Outcome::Failed),
        (QStringList{
            u"isStoredWhenExecReturns"_s, u"storesWhatNestedScopesDo"_s, u"storesWithCommitOnly"_s,
            u"endsScopesThatItJoins"_s, u"reportsItsChanges"_s}));
}

void TestFactoryCheck::findsAQueryThatIsNotReleased()
{
    // Alone, because the tables of the next check could not be created.
    const CheckResult result =
        FactoryCheck(hostOf(madeFaulty<KeepsItsQueries>(sound))).run(u"releasesItsQueries"_s);

    QCOMPARE(result.outcome, Outcome::Failed);
}

void TestFactoryCheck::everyCheckHasAFault()
{
    // Those have tests of their own.
    QStringList meant{u"isStoredWhenExecReturns"_s, u"releasesItsQueries"_s};
    for (const Fault& fault : Faults)
        meant.append(fault.broken.first());

    const QStringList names = FactoryCheck::names();
    for (const QString& name : names)
        QVERIFY2(meant.contains(name), qPrintable(name));
}

void TestFactoryCheck::tellsWhatItCouldNotCheck()
{
    const CapturedWarnings refusals;
    Host host;
    host.factory = std::make_shared<PassingFactory<PassingQuery>>(sound);
    host.servesSeveralThreads = false;

    const CheckReport report = FactoryCheck(host).runAll();

    QVERIFY(report.hasPassed());
    QCOMPARE(
        namesOf(report, Outcome::NotRun),
        (QStringList{
            u"readsTypedAlike"_s, u"bindsTypedAlike"_s, u"countsItsFailures"_s,
            u"isStoredWhenExecReturns"_s, u"storesWhatNestedScopesDo"_s, u"storesWithCommitOnly"_s,
            u"endsScopesThatItJoins"_s, u"reportsItsChanges"_s, u"servesThreadsAtOnce"_s,
            u"keepsQueriesOfThreadsApart"_s, u"keepsTransactionsOfThreadsApart"_s}));
}

void TestFactoryCheck::tellsTheReasonOfAFailure()
{
    const CheckResult result =
        FactoryCheck(hostOf(madeFaulty<CutsSurrogates>(sound))).run(u"keepsUnicode"_s);

    QCOMPARE(result.outcome, Outcome::Failed);
    QCOMPARE(result.findings.first(), u"\"<\\ud800\\udd00>\" came back as \"<##>\""_s);
}

void TestFactoryCheck::anExceptionIsAFinding()
{
    class Throws : public PassingQuery
    {
    public:
        using PassingQuery::PassingQuery;
        void setForwardOnly(bool) override { throw std::runtime_error("not supported"); }
    };

    const CheckResult result =
        FactoryCheck(hostOf(madeFaulty<Throws>(sound))).run(u"walksEveryRowOnce"_s);

    QCOMPARE(result.outcome, Outcome::Failed);
    QCOMPARE(result.findings, QStringList{u"an exception was thrown: not supported"_s});
}

void TestFactoryCheck::aNameThatIsNoCheckIsNotRun()
{
    QCOMPARE(FactoryCheck(hostOf(sound)).run(u"nothing"_s).outcome, Outcome::NotRun);
}

void TestFactoryCheck::tablesAreMadeAsTheHostSays()
{
    QStringList statements;
    Host host = hostOf(sound);
    host.columnTypes.bytes = u"BYTEA"_s;
    host.define = [&](const QString& sql) {
        statements.append(sql);
        return sql.startsWith(u"DROP") ? QString() : u"type \"BYTEA\" does not exist"_s;
    };

    const CheckResult result = FactoryCheck(host).run(u"keepsBytes"_s);

    QCOMPARE(result.outcome, Outcome::Failed);
    QVERIFY(result.findings.first().startsWith(u"the scratch table could not be created: "));
    QVERIFY(result.findings.first().endsWith(u" failed: type \"BYTEA\" does not exist"));
    QCOMPARE(statements.size(), 5);
    QCOMPARE(statements[0], u"DROP TABLE IF EXISTS VelmioCheck"_s);
    QVERIFY(statements[2].startsWith(u"CREATE TABLE VelmioCheck (id INTEGER PRIMARY KEY"));
    QVERIFY(statements[2].contains(u", bytes BYTEA,"));
}

void TestFactoryCheck::leavesNoTableBehind()
{
    const CapturedWarnings refusals;
    FactoryCheck(hostOf(sound)).runAll();

    const auto query = sound->CreateQuery();
    query->prepare(u"SELECT count(*) FROM sqlite_schema WHERE name LIKE 'Velmio%'"_s);
    QVERIFY(query->exec() && query->next());
    QCOMPARE(query->value(0).toInt(), 0);
}

void TestFactoryCheck::theReportReadsAsText()
{
    const CheckReport report(
        {{u"a"_s, u"It does this."_s, Outcome::Passed, {}},
         {u"b"_s, u"It does that."_s, Outcome::Failed, {u"it did not"_s, u"nor here"_s}},
         {u"c"_s, u"It does more."_s, Outcome::NotRun, {u"nothing to do it with"_s}}});

    QVERIFY(!report.hasPassed());
    QCOMPARE(
        report.toText(), u"Checks passed: 1, failed: 1, not run: 1\n"
                         u"\n"
                         u"passed   It does this.\n"
                         u"FAILED   It does that.\n"
                         u"         - it did not\n"
                         u"         - nor here\n"
                         u"not run  It does more.\n"
                         u"         - nothing to do it with\n"_s);
}

void TestFactoryCheck::theReportReadsAsJson()
{
    const CheckReport report({{u"b"_s, u"It does that."_s, Outcome::Failed, {u"it did not"_s}}});

    const QJsonObject json = QJsonDocument::fromJson(report.toJson()).object();
    QCOMPARE(json[u"format"].toString(), u"velmio-factory-check"_s);
    QCOMPARE(json[u"version"].toInt(), 1);
    QCOMPARE(json[u"passed"].toBool(true), false);
    const QJsonObject check = json[u"checks"].toArray().first().toObject();
    QCOMPARE(check[u"name"].toString(), u"b"_s);
    QCOMPARE(check[u"promise"].toString(), u"It does that."_s);
    QCOMPARE(check[u"outcome"].toString(), u"failed"_s);
    QCOMPARE(check[u"findings"].toArray().first().toString(), u"it did not"_s);
}

QTEST_GUILESS_MAIN(TestFactoryCheck)
#include "TestFactoryCheck.moc"
