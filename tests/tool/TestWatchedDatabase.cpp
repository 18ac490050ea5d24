#include <velmioctl/store/WatchedDatabase.h>

#include <config/ServerConfigManager.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
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
    void init()
    {
        directory = std::make_unique<QTemporaryDir>();
        database = std::make_shared<WatchedDatabase>(
            SqliteDatabaseFactory::open(directory->filePath(u"configuration.db"_s)));
    }

    void cleanup()
    {
        database.reset();
        directory.reset();
    }

    void failedReadOfAManagerIsNoticed()
    {
        sync::config::ServerConfigManager servers(database);
        run(u"DROP TABLE ServerConfiguration"_s);

        const auto list = servers.GetAll();

        QVERIFY(list.empty());
        QVERIFY_THROWS_EXCEPTION(CommandError, database->check());
    }

    void failedWriteOfAManagerIsNoticed()
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

    void checkForgetsWhatItHasTold()
    {
        QVERIFY_THROWS_EXCEPTION(CommandError, database->select(u"SELECT nothing FROM nowhere"_s));

        database->check();
        QCOMPARE(database->number(u"SELECT count(*) FROM Schedules"_s), 1);
    }

    void transactionIsUndoneWithoutCommit()
    {
        {
            const Transaction transaction(*database);
            run(u"DELETE FROM Schedules"_s);
        }

        QCOMPARE(database->number(u"SELECT count(*) FROM Schedules"_s), 1);
    }

    void committedTransactionStays()
    {
        {
            Transaction transaction(*database);
            run(u"DELETE FROM Schedules"_s);
            transaction.commit();
        }

        QCOMPARE(database->number(u"SELECT count(*) FROM Schedules"_s), 0);
    }

    void transactionIsNotCommittedAfterAFailure()
    {
        {
            Transaction transaction(*database);
            run(u"DELETE FROM Schedules"_s);
            QVERIFY_THROWS_EXCEPTION(
                CommandError, database->select(u"SELECT nothing FROM nowhere"_s));

            QVERIFY_THROWS_EXCEPTION(CommandError, transaction.commit());
        }

        QCOMPARE(database->number(u"SELECT count(*) FROM Schedules"_s), 1);
    }

    void firstOfSeveralFailuresIsTold()
    {
        for (const QString& table : {u"first"_s, u"second"_s}) {
            const auto query = database->CreateQuery();
            query->prepare(u"SELECT id FROM "_s + table);
            QVERIFY(!query->exec());
        }

        try {
            database->check();
            QFAIL("the failures were not told");
        } catch (const CommandError& error) {
            QVERIFY(error.text().contains(u"first"_s));
        }
        database->check();
    }

    void busyDatabaseGivesItsExitCode()
    {
        const auto other = SqliteDatabaseFactory::open(database->path());
        QVERIFY(other->GetDatabase()->transaction());

        try {
            const Transaction transaction(*database);
            QFAIL("the transaction began beside the other one");
        } catch (const CommandError& error) {
            QCOMPARE(error.code(), ExitCode::Busy);
        }
        QVERIFY(other->GetDatabase()->rollback());
    }

    void secondTransactionFailsWithTheEnginesReason()
    {
        const Transaction first(*database);

        try {
            const Transaction second(*database);
            QFAIL("the second transaction began");
        } catch (const CommandError& error) {
            QVERIFY(error.text().contains(u"a transaction is already open"_s));
        }
    }

    void causesGiveExitCodes_data()
    {
        using Cause = DatabaseError::Cause;
        QTest::addColumn<int>("cause");
        QTest::addColumn<ExitCode>("code");
        QTest::addColumn<bool>("canBeRecovered");
        QTest::newRow("busy") << int(Cause::Busy) << ExitCode::Busy << false;
        QTest::newRow("damaged") << int(Cause::Damaged) << ExitCode::Damaged << true;
        QTest::newRow("no database") << int(Cause::NotADatabase) << ExitCode::Damaged << true;
        QTest::newRow("too new") << int(Cause::TooNew) << ExitCode::TooNew << false;
        QTest::newRow("read-only") << int(Cause::ReadOnly) << ExitCode::OtherError << false;
    }

    void causesGiveExitCodes()
    {
        QFETCH(int, cause);
        QFETCH(ExitCode, code);
        QFETCH(bool, canBeRecovered);
        const DatabaseError failure(static_cast<DatabaseError::Cause>(cause), u"why"_s);

        const CommandError plain = commandError(failure);
        const CommandError error = openingError(failure);

        QCOMPARE(plain.code(), code);
        QCOMPARE(plain.text(), u"why"_s);
        QCOMPARE(error.code(), code);
        QVERIFY(error.text().startsWith(u"why"_s));
        QCOMPARE(error.text().contains(u"velmioctl recover --from-backup"_s), canBeRecovered);
    }

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

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestWatchedDatabase)
#include "TestWatchedDatabase.moc"
