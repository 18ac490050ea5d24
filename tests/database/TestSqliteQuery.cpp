#include <support/RawDatabase.h>

#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlTypedQuery.h>

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <limits>
#include <thread>

using namespace Qt::StringLiterals;
using sync::database::SqliteDatabaseFactory;
using sync::interf::IQSqlQueryWrapper;
using sync::test::RawDatabase;

class TestSqliteQuery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void valuesComeBackAsTheyWere_data();
    void valuesComeBackAsTheyWere();
    void nullsAreStoredAsNull_data();
    void nullsAreStoredAsNull();
    void timesComeBackAsTheTextQtSqlGives();
    void valuesThatWouldLoseSomethingAreRefused_data();
    void valuesThatWouldLoseSomethingAreRefused();
    void aPlaceholderWithoutValueIsNull();
    void anUnknownPlaceholderFailsTheStatement();
    void boundValuesAreToldUntilTheNextPrepare();
    void aPlaceholderThatStandsTwiceIsOneValue();
    void rowsAreReadFromTheFirstToTheLast();
    void thereIsNoValueWithoutARow();
    void typedColumnsReadAsTheirVariants_data();
    void typedColumnsReadAsTheirVariants();
    void typedColumnsWithoutARowAreEmpty();
    void typedValuesAreStoredAsTheirVariants_data();
    void typedValuesAreStoredAsTheirVariants();
    void valuesMayBeBoundAnewWhileRowsAreRead();
    void aTextThatDoesNotPrepareFailsInExec_data();
    void aTextThatDoesNotPrepareFailsInExec();
    void bindingToATextThatDidNotPrepareIsHarmless();
    void transactionStatementsAreRefused_data();
    void transactionStatementsAreRefused();
    void settingsThatTheStoreRestsOnCannotBeChanged_data();
    void settingsThatTheStoreRestsOnCannotBeChanged();
    void insertsTellTheirIdAndUpdatesTheirCount();
    void idsAreNeverUsedAgain();
    void aQueryRunsAgainWithOtherValues();
    void twoQueriesOfOneTextDoNotDisturbEachOther();
    void aReleasedStatementKeepsNoValues();
    void anotherThreadMayNotUseTheQuery();
    void aQueryReleasedByAnotherThreadLeavesTheConnectionToItsOwner();
    void aWriterThatWaitsTooLongFailsWithAText();
    void afterAnAutomaticRollbackTheTransactionStaysLost();
    void afterAReadThatRolledBackTheTransactionStaysLost();
    void aWriteBehindAnOldSelectFailsWithTheRemedy();
    void moreTextsThanTheCacheHoldsStillRun();
    void aTextThatChangesInItsPlaceIsAnotherStatement();

private:
    std::shared_ptr<IQSqlQueryWrapper> prepared(const QString& sql);
    QVariant storedAndRead(const QVariant& value);

    std::unique_ptr<QTemporaryDir> folder;
    std::shared_ptr<SqliteDatabaseFactory> factory;
};

void TestSqliteQuery::init()
{
    folder = std::make_unique<QTemporaryDir>();
    factory = SqliteDatabaseFactory::open(folder->filePath(u"store.db"_s));
    // A column without affinity keeps every value in its own type.
    QVERIFY(prepared(u"CREATE TABLE Anything (value)"_s)->exec());
}

std::shared_ptr<IQSqlQueryWrapper> TestSqliteQuery::prepared(const QString& sql)
{
    auto query = factory->CreateQuery();
    query->prepare(sql);
    return query;
}

QVariant TestSqliteQuery::storedAndRead(const QVariant& value)
{
    const auto insert = prepared(u"INSERT INTO Anything VALUES (:value)"_s);
    insert->bindValue(u":value"_s, value);
    if (!insert->exec())
        return u"exec failed: "_s + insert->lastError();
    const auto select = prepared(u"SELECT value FROM Anything WHERE rowid = :id"_s);
    select->bindValue(u":id"_s, insert->lastInsertId());
    return select->exec() && select->next() ? select->value(0) : u"no row"_s;
}

void TestSqliteQuery::valuesComeBackAsTheyWere_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QVariant>("read");
    const auto same = [](const char* name, const QVariant& value) {
        QTest::addRow("%s", name) << value << value;
    };
    const auto as = [](const char* name, const QVariant& value, const QVariant& read) {
        QTest::addRow("%s", name) << value << read;
    };
    as("int", -7, -7LL);
    as("unsigned int", 4294967295U, 4294967295LL);
    as("bool", true, 1LL);
    same("largest 64-bit integer", std::numeric_limits<qlonglong>::max());
    same("smallest 64-bit integer", std::numeric_limits<qlonglong>::min());
    as("enumeration", QVariant::fromValue(Qt::OffsetFromUTC), 2LL);
    same("double", 0.1);
    same("infinite double", std::numeric_limits<double>::infinity());
    same("text", u"h\u00e9llo \U0001F600"_s);
    same("empty text", u""_s);
    same("text with U+0000", QString(u"a\0b"_s));
    same("text that looks like a number", u"007"_s);
    same("bytes", QByteArray("\x00\xff\x7f", 3));
    same("empty bytes", QByteArray(""));
    as("other type with a text", QUrl(u"https://a.example/"_s), u"https://a.example/"_s);
}

void TestSqliteQuery::valuesComeBackAsTheyWere()
{
    QFETCH(const QVariant, value);
    QFETCH(const QVariant, read);

    const QVariant actual = storedAndRead(value);

    QCOMPARE(actual, read);
    QCOMPARE(actual.metaType(), read.metaType());
    if (read.typeId() == QMetaType::QByteArray)
        QVERIFY(!actual.toByteArray().isNull());
}

void TestSqliteQuery::nullsAreStoredAsNull_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addRow("no value") << QVariant();
    QTest::addRow("null text") << QVariant(QString());
    QTest::addRow("null bytes") << QVariant(QByteArray());
    QTest::addRow("null time") << QVariant(QDateTime());
    QTest::addRow("invalid time") << QVariant(QDateTime(QDate(2024, 2, 30), QTime(1, 2)));
    QTest::addRow("null pointer") << QVariant::fromValue(nullptr);
    QTest::addRow("null number") << QVariant(QMetaType(QMetaType::Int));
}

void TestSqliteQuery::nullsAreStoredAsNull()
{
    QFETCH(const QVariant, value);

    const QVariant read = storedAndRead(value);

    QVERIFY(!read.isValid());
    QVERIFY(read.toString().isNull());
    QCOMPARE(
        RawDatabase(factory->path()).value(u"SELECT typeof(value) FROM Anything"_s), u"null"_s);
}

void TestSqliteQuery::timesComeBackAsTheTextQtSqlGives()
{
    const QDate day(2024, 5, 6);
    const QTime clock(7, 8, 9, 10);

    QCOMPARE(storedAndRead(QDateTime(day, clock, Qt::UTC)), u"2024-05-06T07:08:09.010Z"_s);
    QCOMPARE(storedAndRead(QDateTime(day, clock)), u"2024-05-06T07:08:09.010"_s);
    QCOMPARE(
        storedAndRead(QDateTime(day, clock, Qt::OffsetFromUTC, 3600)),
        u"2024-05-06T07:08:09.010+01:00"_s);
}

void TestSqliteQuery::valuesThatWouldLoseSomethingAreRefused_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addRow("integer over 63 bits") << QVariant(std::numeric_limits<qulonglong>::max());
    QTest::addRow("no number") << QVariant(std::numeric_limits<double>::quiet_NaN());
    QTest::addRow("year 10000") << QVariant(QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC));
    QTest::addRow("type without a text") << QVariant(QVariantList{1, 2});
}

void TestSqliteQuery::valuesThatWouldLoseSomethingAreRefused()
{
    QFETCH(const QVariant, value);
    const auto insert = prepared(u"INSERT INTO Anything VALUES (:value)"_s);
    insert->bindValue(u":value"_s, value);

    QVERIFY(!insert->exec());

    QVERIFY(insert->lastError().contains(u"cannot be stored"));
    QCOMPARE(RawDatabase(factory->path()).value(u"SELECT count(*) FROM Anything"_s), u"0"_s);
}

void TestSqliteQuery::aPlaceholderWithoutValueIsNull()
{
    QVERIFY(prepared(u"INSERT INTO Anything VALUES (:value)"_s)->exec());

    QCOMPARE(
        RawDatabase(factory->path()).value(u"SELECT typeof(value) FROM Anything"_s), u"null"_s);
}

void TestSqliteQuery::anUnknownPlaceholderFailsTheStatement()
{
    const auto query = prepared(u"SELECT :a"_s);
    query->bindValue(u":b"_s, 1);

    QVERIFY(!query->exec());

    QCOMPARE(query->lastError(), u"the statement has no placeholder :b"_s);
}

void TestSqliteQuery::boundValuesAreToldUntilTheNextPrepare()
{
    const auto query = prepared(u"SELECT :a, :b"_s);
    query->bindValue(u":b"_s, 2);

    QCOMPARE(query->boundValue(u":b"_s), QVariant(2));
    QVERIFY(!query->boundValue(u":a"_s).isValid());
    QVERIFY(!query->boundValue(u":c"_s).isValid());
    QCOMPARE(query->lastQuery(), u"SELECT :a, :b"_s);

    query->prepare(u"SELECT :b"_s);
    QVERIFY(!query->boundValue(u":b"_s).isValid());
}

void TestSqliteQuery::aPlaceholderThatStandsTwiceIsOneValue()
{
    const auto query = prepared(u"SELECT :a || :b || :a"_s);
    query->bindValue(u":b"_s, u"-"_s);
    query->bindValue(u":a"_s, u"x"_s);

    QVERIFY(query->exec() && query->next());

    QCOMPARE(query->value(0), QVariant(u"x-x"_s));
}

void TestSqliteQuery::rowsAreReadFromTheFirstToTheLast()
{
    const auto query = prepared(u"VALUES (1, 'a'), (2, 'b')"_s);
    query->setForwardOnly(true);
    QVERIFY(query->exec());
    QVERIFY(!query->isValid());

    QVERIFY(query->next());
    QVERIFY(query->isValid());
    QCOMPARE(query->value(1), QVariant(u"a"_s));
    QVERIFY(query->next());
    QCOMPARE(query->value(0), QVariant(2LL));
    QVERIFY(!query->next());
    QVERIFY(!query->isValid());
    QVERIFY(!query->next());
    QVERIFY(query->lastError().isEmpty());
}

void TestSqliteQuery::thereIsNoValueWithoutARow()
{
    const auto query = prepared(u"SELECT 1"_s);
    QVERIFY(!query->value(0).isValid());
    QVERIFY(!query->next());
    QVERIFY(query->exec());
    QVERIFY(!query->value(0).isValid());
    QVERIFY(query->next());

    QVERIFY(query->value(0).isValid());
    QVERIFY(!query->value(1).isValid());
    QVERIFY(!query->value(-1).isValid());
}

void TestSqliteQuery::typedColumnsReadAsTheirVariants_data()
{
    QTest::addColumn<QVariant>("value");
    for (const QVariant& value : {
             QVariant(),
             QVariant(0),
             QVariant(-7),
             QVariant(5'000'000'000LL),
             QVariant(std::numeric_limits<qlonglong>::min()),
             QVariant(2.5),
             QVariant(-3e30),
             QVariant(u""_s),
             QVariant(u"12"_s),
             QVariant(u"5000000000"_s),
             QVariant(u"text"_s),
             QVariant(u"h\u00e9llo \U0001F600"_s),
             QVariant(u"2024-02-29T23:59:58.007Z"_s),
             QVariant(u"2024-02-29T23:59:58.007"_s),
             QVariant(u"2024-02-29T23:59:58.007-05:30"_s),
             QVariant(u"2024-02-29T23:59:58.007+14:00"_s),
             QVariant(u"2024-02-29T23:59:58.007 UTC"_s),
             QVariant(u"2023-02-29T23:59:58.007Z"_s),
             QVariant(u"2024-02-29T24:00:00.000Z"_s),
             QVariant(u"0000-01-01T00:00:00.000Z"_s),
             QVariant(u"2024-02-29"_s),
             QVariant("12"_ba),
             QVariant(""_ba),
         })
        QTest::addRow("%s '%s'", value.typeName(), qPrintable(value.toString())) << value;
}

void TestSqliteQuery::typedColumnsReadAsTheirVariants()
{
    QFETCH(const QVariant, value);
    const auto select = prepared(u"SELECT :value"_s);
    select->bindValue(u":value"_s, value);
    QVERIFY(select->exec() && select->next());

    const auto* const typed = dynamic_cast<sync::interf::IQSqlTypedQuery*>(select.get());

    QVERIFY(typed);
    const QVariant read = select->value(0);
    QCOMPARE(typed->intValue(0), read.toInt());
    QCOMPARE(typed->longLongValue(0), read.toLongLong());
    QCOMPARE(typed->textValue(0), read.toString());
    QCOMPARE(typed->textValue(0).isNull(), read.toString().isNull());
    QCOMPARE(typed->holdsText(0, u"12"), value == QVariant(u"12"_s));
    QDateTime time = read.toDateTime();
    time.setTimeSpec(Qt::UTC);
    QCOMPARE(typed->utcTimeValue(0), time);
    QCOMPARE(typed->utcTimeValue(0).isNull(), time.isNull());
    QCOMPARE(typed->utcTimeValue(0).timeSpec(), Qt::UTC);
}

void TestSqliteQuery::typedColumnsWithoutARowAreEmpty()
{
    const auto query = prepared(u"SELECT 7, 'text'"_s);
    const auto* const typed = dynamic_cast<sync::interf::IQSqlTypedQuery*>(query.get());
    QVERIFY(typed);
    QVERIFY(query->exec());

    QCOMPARE(typed->intValue(0), 0);
    QCOMPARE(typed->textValue(1), QString());
    QVERIFY(!typed->holdsText(1, u"text"));
    QVERIFY(query->next());
    QCOMPARE(typed->intValue(0), 7);
    QCOMPARE(typed->textValue(1), u"text"_s);
    QCOMPARE(typed->intValue(2), 0);
    QCOMPARE(typed->textValue(-1), QString());
    QVERIFY(!query->next());
    QCOMPARE(typed->intValue(0), 0);
}

void TestSqliteQuery::typedValuesAreStoredAsTheirVariants_data()
{
    QTest::addColumn<QVariant>("value");
    const QDate day(2024, 2, 29);
    const QTime clock(23, 59, 58, 7);
    QTest::addRow("number") << QVariant(5'000'000'000LL);
    QTest::addRow("text") << QVariant(u"h\u00e9llo \U0001F600"_s);
    QTest::addRow("long text") << QVariant(QString(100'000, u'x'));
    QTest::addRow("empty text") << QVariant(u""_s);
    QTest::addRow("null text") << QVariant(QString());
    QTest::addRow("UTC") << QVariant(QDateTime(day, clock, Qt::UTC));
    QTest::addRow("local time") << QVariant(QDateTime(day, clock));
    QTest::addRow("offset") << QVariant(QDateTime(day, clock, Qt::OffsetFromUTC, -19800));
    QTest::addRow("null time") << QVariant(QDateTime());
    QTest::addRow("time too late") << QVariant(QDateTime(QDate(10000, 1, 1), clock, Qt::UTC));
}

void TestSqliteQuery::typedValuesAreStoredAsTheirVariants()
{
    QFETCH(const QVariant, value);
    const auto query = prepared(u"SELECT :variant, :typed"_s);
    auto* const typed = dynamic_cast<sync::interf::IQSqlTypedQuery*>(query.get());
    QVERIFY(typed);
    query->bindValue(u":variant"_s, value);

    if (value.typeId() == QMetaType::LongLong)
        typed->bindNumber(u":typed"_s, value.toLongLong());
    else if (value.typeId() == QMetaType::QString)
        typed->bindText(u":typed"_s, value.toString());
    else
        typed->bindTime(u":typed"_s, value.toDateTime());

    QCOMPARE(query->boundValue(u":typed"_s), value);
    const bool storable = value.toDateTime().date().year() < 10000;
    QCOMPARE(query->exec(), storable);
    QCOMPARE(query->next(), storable);
    QCOMPARE(query->value(1), query->value(0));
    QCOMPARE(query->value(1).metaType(), query->value(0).metaType());
}

void TestSqliteQuery::valuesMayBeBoundAnewWhileRowsAreRead()
{
    const auto query = prepared(u"WITH Rows (n) AS (VALUES (1), (2)) SELECT :text FROM Rows"_s);
    query->bindValue(u":text"_s, QString(500, u'a'));
    QVERIFY(query->exec() && query->next());

    query->bindValue(u":text"_s, QString(5000, u'b'));

    QVERIFY(query->next());
    QCOMPARE(query->value(0), QVariant(QString(500, u'a')));
    QVERIFY(query->exec() && query->next());
    QCOMPARE(query->value(0), QVariant(QString(5000, u'b')));
}

void TestSqliteQuery::aTextThatDoesNotPrepareFailsInExec_data()
{
    QTest::addColumn<QString>("sql");
    QTest::addColumn<QString>("reason");
    QTest::addRow("unknown table") << u"SELECT 1 FROM Nowhere"_s << u"no such table: Nowhere"_s;
    QTest::addRow("no SQL") << u"not sql"_s << u"syntax error"_s;
    QTest::addRow("empty") << u""_s << u"exactly one statement"_s;
    QTest::addRow("two statements") << u"SELECT 1; SELECT 2"_s << u"exactly one statement"_s;
    QTest::addRow("U+0000") << QString(u"SELECT 1\0; DELETE FROM Schedules"_s)
                            << u"exactly one statement"_s;
    QTest::addRow("a write with rows")
        << u"INSERT INTO Anything VALUES (1) RETURNING value"_s << u"cannot return rows"_s;
}

void TestSqliteQuery::aTextThatDoesNotPrepareFailsInExec()
{
    QFETCH(const QString, sql);
    QFETCH(const QString, reason);
    const auto query = prepared(sql);

    QVERIFY(!query->exec());

    QVERIFY2(query->lastError().contains(reason), qPrintable(query->lastError()));
    QVERIFY(!query->next());
    query->prepare(u"SELECT 1;  "_s);
    QVERIFY(query->exec());
    QVERIFY(query->lastError().isEmpty());
}

void TestSqliteQuery::bindingToATextThatDidNotPrepareIsHarmless()
{
    const auto query = prepared(u"SELECT :a FROM Nowhere"_s);

    query->bindValue(u":a"_s, 1);

    QVERIFY(!query->exec());
    QVERIFY(query->lastError().contains(u"no such table"));
}

void TestSqliteQuery::transactionStatementsAreRefused_data()
{
    QTest::addColumn<QString>("sql");
    for (const auto* const sql :
         {"BEGIN", "BEGIN IMMEDIATE", "COMMIT", "ROLLBACK", "SAVEPOINT a", "RELEASE a"})
        QTest::addRow("%s", sql) << QString::fromLatin1(sql);
}

void TestSqliteQuery::transactionStatementsAreRefused()
{
    QFETCH(const QString, sql);
    const auto query = prepared(sql);

    QVERIFY(!query->exec());

    QVERIFY(query->lastError().contains(u"TransactionalScope"));
}

void TestSqliteQuery::settingsThatTheStoreRestsOnCannotBeChanged_data()
{
    QTest::addColumn<QString>("sql");
    for (const auto* const sql :
         {"PRAGMA synchronous = OFF", "PRAGMA wal_autocheckpoint(1)", "PRAGMA User_Version = 7",
          "PRAGMA journal_mode = DELETE", "PRAGMA wal_checkpoint", "PRAGMA wal_checkpoint(FULL)"})
        QTest::addRow("%s", sql) << QString::fromLatin1(sql);
}

void TestSqliteQuery::settingsThatTheStoreRestsOnCannotBeChanged()
{
    QFETCH(const QString, sql);
    const auto query = prepared(sql);

    QVERIFY(!query->exec());

    QVERIFY2(query->lastError().contains(u"belongs to the store"), qPrintable(query->lastError()));
    const auto reading = prepared(u"PRAGMA synchronous"_s);
    QVERIFY(reading->exec() && reading->next());
    QCOMPARE(reading->value(0).toInt(), 3);
}

void TestSqliteQuery::insertsTellTheirIdAndUpdatesTheirCount()
{
    const QString insert = u"INSERT INTO ServerConfiguration (alias) VALUES ('a')"_s;
    QVERIFY(prepared(insert)->exec());
    const auto second = prepared(insert);
    QVERIFY(second->exec());
    QCOMPARE(second->lastInsertId().toInt(), 2);
    QCOMPARE(second->numRowsAffected(), 1);

    const auto update = prepared(u"UPDATE ServerConfiguration SET alias = 'b'"_s);
    QCOMPARE(update->numRowsAffected(), -1);
    QVERIFY(update->exec());

    QCOMPARE(update->numRowsAffected(), 2);
}

void TestSqliteQuery::idsAreNeverUsedAgain()
{
    const QString insert = u"INSERT INTO ServerConfiguration (alias) VALUES ('a')"_s;
    QVERIFY(prepared(insert)->exec());
    QVERIFY(prepared(u"DELETE FROM ServerConfiguration"_s)->exec());

    const auto next = prepared(insert);
    QVERIFY(next->exec());

    QCOMPARE(next->lastInsertId().toInt(), 2);
}

void TestSqliteQuery::aQueryRunsAgainWithOtherValues()
{
    const auto query = prepared(u"SELECT :a"_s);
    query->bindValue(u":a"_s, u"first"_s);
    QVERIFY(query->exec() && query->next());

    query->bindValue(u":a"_s, u"second"_s);
    QVERIFY(query->exec() && query->next());

    QCOMPARE(query->value(0), QVariant(u"second"_s));
}

void TestSqliteQuery::twoQueriesOfOneTextDoNotDisturbEachOther()
{
    const QString sql = u"WITH n (x) AS (VALUES (1), (2), (3)) SELECT x FROM n"_s;
    const auto outer = prepared(sql);
    QVERIFY(outer->exec());
    int rows = 0;

    while (outer->next()) {
        const auto inner = prepared(sql);
        QVERIFY(inner->exec());
        while (inner->next())
            ++rows;
    }

    QCOMPARE(rows, 9);
}

void TestSqliteQuery::aReleasedStatementKeepsNoValues()
{
    const QString sql = u"SELECT :a"_s;
    auto first = prepared(sql);
    first->bindValue(u":a"_s, u"secret"_s);
    QVERIFY(first->exec() && first->next());
    first.reset();

    const auto second = prepared(sql);
    QVERIFY(second->exec() && second->next());

    QVERIFY(!second->value(0).isValid());
}

void TestSqliteQuery::anotherThreadMayNotUseTheQuery()
{
    auto query = prepared(u"SELECT 1"_s);
    bool executed = true;

    std::thread([&] { executed = query->exec(); }).join();

    QVERIFY(!executed);
    QCOMPARE(query->lastError(), u"a query belongs to the thread that created it"_s);
    QVERIFY(query->exec());
    std::thread([moved = std::move(query)]() mutable { moved.reset(); }).join();
    QVERIFY(prepared(u"SELECT 1"_s)->exec());
}

void TestSqliteQuery::aQueryReleasedByAnotherThreadLeavesTheConnectionToItsOwner()
{
    const QString sql = u"VALUES (1), (2)"_s;
    std::vector<std::shared_ptr<IQSqlQueryWrapper>> given;
    for (int round = 0; round < 100; ++round) {
        given.push_back(prepared(sql));
        QVERIFY(given.back()->exec() && given.back()->next());
    }

    std::thread releasing([&given] { given.clear(); });
    for (int round = 0; round < 1000; ++round) {
        const auto query = prepared(sql);
        QVERIFY(query->exec() && query->next());
    }
    releasing.join();

    // No statement stays open on a row, which would keep the old state of the database in view.
    QVERIFY(prepared(u"INSERT INTO Anything VALUES (1)"_s)->exec());
    RawDatabase(factory->path()).run(u"INSERT INTO Anything VALUES (2)"_s);
    QVERIFY(prepared(u"INSERT INTO Anything VALUES (3)"_s)->exec());
}

void TestSqliteQuery::aWriterThatWaitsTooLongFailsWithAText()
{
    QVERIFY(factory->GetDatabase()->transaction());
    QVERIFY(prepared(u"INSERT INTO Anything VALUES (1)"_s)->exec());
    QString error;

    std::thread([&] {
        const auto query = prepared(u"INSERT INTO Anything VALUES (2)"_s);
        if (!query->exec())
            error = query->lastError();
    }).join();

    QVERIFY2(error.contains(u"Another thread"), qPrintable(error));
    QVERIFY(factory->GetDatabase()->commit());
    QCOMPARE(RawDatabase(factory->path()).value(u"SELECT count(*) FROM Anything"_s), u"1"_s);
}

void TestSqliteQuery::afterAnAutomaticRollbackTheTransactionStaysLost()
{
    QVERIFY(prepared(u"CREATE TABLE Once (value UNIQUE ON CONFLICT ROLLBACK)"_s)->exec());
    const auto database = factory->GetDatabase();
    QVERIFY(database->transaction());
    QVERIFY(prepared(u"INSERT INTO Once VALUES (1)"_s)->exec());
    QVERIFY(!prepared(u"INSERT INTO Once VALUES (1)"_s)->exec());

    const auto later = prepared(u"INSERT INTO Anything VALUES (1)"_s);
    QVERIFY(!later->exec());
    QVERIFY2(later->lastError().contains(u"rolled back"), qPrintable(later->lastError()));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"rolled back"_s));
    QVERIFY(!database->commit());

    QVERIFY(prepared(u"INSERT INTO Anything VALUES (2)"_s)->exec());
    QCOMPARE(
        RawDatabase(factory->path()).run(u"SELECT value FROM Anything"_s), QStringList{u"2"_s});
}

void TestSqliteQuery::afterAReadThatRolledBackTheTransactionStaysLost()
{
    constexpr int HeapLimitBytes = 20'000'000;
    const auto database = factory->GetDatabase();
    const auto insert = prepared(u"INSERT INTO ServerConfiguration (alias) VALUES ('a')"_s);
    const auto tooLarge =
        prepared(u"SELECT length(randomblob(90000000)) FROM ServerConfiguration"_s);
    QVERIFY(database->transaction());
    QVERIFY(insert->exec());

    sqlite3_hard_heap_limit64(HeapLimitBytes);
    const bool read = tooLarge->exec();
    sqlite3_hard_heap_limit64(0);

    QVERIFY(!read);
    QVERIFY(!insert->exec());
    QVERIFY2(insert->lastError().contains(u"out of memory"_s), qPrintable(insert->lastError()));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"rolled back"_s));
    QVERIFY(!database->commit());
    QCOMPARE(
        RawDatabase(factory->path()).value(u"SELECT count(*) FROM ServerConfiguration"_s), u"0"_s);
}

void TestSqliteQuery::aWriteBehindAnOldSelectFailsWithTheRemedy()
{
    const auto select = prepared(u"SELECT id FROM Schedules"_s);
    const auto update = prepared(u"UPDATE Schedules SET syncInterval = 31"_s);
    QVERIFY(select->exec() && select->next());
    RawDatabase(factory->path()).run(u"UPDATE Schedules SET syncInterval = 32"_s);

    QVERIFY(!update->exec());
    QVERIFY2(
        update->lastError().contains(u"release that query"_s), qPrintable(update->lastError()));

    QVERIFY(!select->next());
    QVERIFY(update->exec());
}

void TestSqliteQuery::moreTextsThanTheCacheHoldsStillRun()
{
    const auto kept = prepared(u"SELECT 'kept'"_s);
    for (int number = 0; number < 1000; ++number) {
        const auto query = prepared(u"SELECT %1"_s.arg(number));
        QVERIFY(query->exec() && query->next());
        QCOMPARE(query->value(0).toInt(), number);
    }

    QVERIFY(kept->exec() && kept->next());
    QCOMPARE(kept->value(0), QVariant(u"kept"_s));
}

void TestSqliteQuery::aTextThatChangesInItsPlaceIsAnotherStatement()
{
    QString characters = u"SELECT 1"_s;
    const QString text = QString::fromRawData(characters.data(), characters.size());
    for (int use = 0; use < 2; ++use) {
        const auto first = prepared(text);
        QVERIFY(first->exec() && first->next());
        QCOMPARE(first->value(0), QVariant(1LL));
    }

    *(characters.data() + characters.size() - 1) = u'2';
    const auto second = prepared(text);

    QVERIFY(second->exec() && second->next());
    QCOMPARE(second->value(0), QVariant(2LL));
}

QTEST_GUILESS_MAIN(TestSqliteQuery)
#include "TestSqliteQuery.moc"
