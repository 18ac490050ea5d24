#include <velmioctl/WatchedDatabase.h>

#include <config/ServerConfigManager.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::database::SqliteDatabaseFactory;

namespace velmioctl {

class TestWatchedDatabase : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void failedReadOfAManagerIsNoticed();
    void failedWriteOfAManagerIsNoticed();
    void checkForgetsWhatItHasTold();
    void transactionIsUndoneWithoutCommit();
    void committedTransactionStays();
    void secondTransactionFailsWithTheEnginesReason();
    void failureTextsGiveExitCodes_data();
    void failureTextsGiveExitCodes();
    void causesGiveExitCodes_data();
    void causesGiveExitCodes();

private:
    void run(const QString& sql)
    {
        const auto query = database->CreateQuery();
        QVERIFY(query->prepare(sql));
        QVERIFY(query->exec());
    }

    std::unique_ptr<QTemporaryDir> directory;
    std::shared_ptr<WatchedDatabase> database;
};

void TestWatchedDatabase::init()
{
    directory = std::make_unique<QTemporaryDir>();
    database = std::make_shared<WatchedDatabase>(
        SqliteDatabaseFactory::open(directory->filePath(u"configuration.db"_s)));
}

void TestWatchedDatabase::cleanup()
{
    database.reset();
    directory.reset();
}

void TestWatchedDatabase::failedReadOfAManagerIsNoticed()
{
    sync::config::ServerConfigManager servers(database);
    run(u"DROP TABLE ServerConfiguration"_s);

    const auto list = servers.GetAll();

    QVERIFY(list.empty());
    QVERIFY_THROWS_EXCEPTION(CommandError, database->check());
}

void TestWatchedDatabase::failedWriteOfAManagerIsNoticed()
{
    sync::config::ServerConfigManager servers(database);
    run(u"CREATE TRIGGER refuse BEFORE DELETE ON ServerConfiguration"
        u" BEGIN SELECT RAISE(ABORT, 'no way'); END"_s);
    sync::config::ServerConfiguration server;
    QVERIFY(servers.Add(server));

    const bool removed = servers.Remove(server.getId());

    try {
        database->check(removed, u"Removing"_s);
        QFAIL("the failure was not told");
    } catch (const CommandError& error) {
        QVERIFY(error.text().contains(u"no way"_s));
        QCOMPARE(error.code(), ExitCode::OtherError);
    }
}

void TestWatchedDatabase::checkForgetsWhatItHasTold()
{
    QVERIFY_THROWS_EXCEPTION(CommandError, database->select(u"SELECT nothing FROM nowhere"_s));

    database->check();
    QCOMPARE(database->number(u"SELECT count(*) FROM Schedules"_s), 1);
}

void TestWatchedDatabase::transactionIsUndoneWithoutCommit()
{
    {
        const Transaction transaction(*database);
        run(u"DELETE FROM Schedules"_s);
    }

    QCOMPARE(database->number(u"SELECT count(*) FROM Schedules"_s), 1);
}

void TestWatchedDatabase::committedTransactionStays()
{
    {
        Transaction transaction(*database);
        run(u"DELETE FROM Schedules"_s);
        transaction.commit();
    }

    QCOMPARE(database->number(u"SELECT count(*) FROM Schedules"_s), 0);
}

void TestWatchedDatabase::secondTransactionFailsWithTheEnginesReason()
{
    const Transaction first(*database);

    try {
        const Transaction second(*database);
        QFAIL("the second transaction began");
    } catch (const CommandError& error) {
        QVERIFY(error.text().contains(u"a transaction is open already"_s));
    }
}

void TestWatchedDatabase::failureTextsGiveExitCodes_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<ExitCode>("code");
    QTest::newRow("busy") << u"database is locked (SQLite error 5). Wait"_s << ExitCode::Busy;
    QTest::newRow("busy snapshot") << u"locked (SQLite error 517)"_s << ExitCode::Busy;
    QTest::newRow("corrupt") << u"malformed (SQLite error 267)"_s << ExitCode::Damaged;
    QTest::newRow("no database") << u"not a database (SQLite error 26)"_s << ExitCode::Damaged;
    QTest::newRow("full") << u"full (SQLite error 13)"_s << ExitCode::OtherError;
    QTest::newRow("no number") << u"out of patience"_s << ExitCode::OtherError;
}

void TestWatchedDatabase::failureTextsGiveExitCodes()
{
    QFETCH(QString, text);
    QFETCH(ExitCode, code);

    QCOMPARE(exitCodeOfFailure(text), code);
}

void TestWatchedDatabase::causesGiveExitCodes_data()
{
    using Cause = DatabaseError::Cause;
    QTest::addColumn<int>("cause");
    QTest::addColumn<ExitCode>("code");
    QTest::newRow("busy") << int(Cause::Busy) << ExitCode::Busy;
    QTest::newRow("damaged") << int(Cause::Damaged) << ExitCode::Damaged;
    QTest::newRow("no database") << int(Cause::NotADatabase) << ExitCode::Damaged;
    QTest::newRow("too new") << int(Cause::TooNew) << ExitCode::TooNew;
    QTest::newRow("read-only") << int(Cause::ReadOnly) << ExitCode::OtherError;
}

void TestWatchedDatabase::causesGiveExitCodes()
{
    QFETCH(int, cause);
    QFETCH(ExitCode, code);

    const CommandError error =
        openingError(DatabaseError(static_cast<DatabaseError::Cause>(cause), u"why"_s));

    QCOMPARE(error.code(), code);
    QCOMPARE(error.text(), u"why"_s);
}

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestWatchedDatabase)
#include "TestWatchedDatabase.moc"
