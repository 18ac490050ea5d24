#include "NeedsServer.h"

#include <database/HostTransaction.h>
#include <database/TransactionalScope.h>
#include <fleet/PostgresDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QTest>

#include <thread>

using namespace Qt::StringLiterals;
using sync::database::HostTransaction;
using sync::database::RecordKind;
using sync::database::RecordKinds;
using sync::database::TransactionalScope;
using sync::fleet::PostgresDatabaseFactory;
using sync::test::PostgresServer;

namespace {

/// A store of its own for each test.
class Store
{
public:
    explicit Store(const QString& id)
        : id(id)
        , factory(PostgresDatabaseFactory::open(PostgresServer::shared()->connection(), id))
    {
    }

    /// The error; empty if it succeeded.
    QString run(const QString& sql, const QVariantList& values = {})
    {
        query = factory->CreateQuery();
        query->prepare(sql);
        for (qsizetype at = 0; at < values.size(); ++at)
            query->bindValue(u":v%1"_s.arg(at), values.at(at));
        return query->exec() ? QString() : query->lastError();
    }

    int add(const QString& alias)
    {
        const QString error =
            run(u"INSERT INTO ServerConfiguration (alias) VALUES (:v0)"_s, {alias});
        return error.isEmpty() ? query->lastInsertId().toInt() : -1;
    }

    QString aliases(const QString& rest = {})
    {
        QStringList all;
        if (const QString error = run(u"SELECT alias FROM ServerConfiguration "_s + rest);
            !error.isEmpty())
            return error;
        while (query->next())
            all.append(query->value(0).isNull() ? u"NULL"_s : query->value(0).toString());
        query.reset();
        return all.join(u' ');
    }

    const QString id;
    const std::shared_ptr<PostgresDatabaseFactory> factory;
    std::shared_ptr<sync::interf::IQSqlQueryWrapper> query;
};

const QString Unknown = u"SELECT a FROM NoSuchTable"_s;

} // namespace

/// What differs between SQLite and PostgreSQL, and does not show above the factory.
class TestPostgresEngine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { server = PostgresServer::shared(); }

    void nullsComeFirstAndTextsInTheOrderOfTheirBytes()
    {
        Store store(u"order"_s);
        for (const QString& alias : {u"b"_s, u"B"_s, u"\u00E9"_s, u"a b"_s, u"ab"_s, QString()})
            store.add(alias);

        QCOMPARE(store.aliases(u"ORDER BY alias"_s), u"NULL B a b ab b \u00E9"_s);
        QCOMPARE(store.aliases(u"ORDER BY alias DESC"_s), u"\u00E9 b ab a b B NULL"_s);
    }

    void aRollbackTakesItsIdsBack()
    {
        Store store(u"ids"_s);
        QCOMPARE(store.add(u"first"_s), 1);
        {
            HostTransaction transaction(*store.factory);
            QCOMPARE(store.add(u"lost"_s), 2);
            QCOMPARE(store.add(u"lost"_s), 3);
        }
        QCOMPARE(store.add(u"second"_s), 2);
        store.run(u"DELETE FROM ServerConfiguration WHERE id = 2"_s);
        QCOMPARE(store.add(u"third"_s), 3);
        {
            HostTransaction transaction(*store.factory);
            QCOMPARE(store.add(u"fourth"_s), 4);
            QVERIFY(transaction.commit());
        }
        QCOMPARE(store.add(u"fifth"_s), 5);
    }

    void anIdThatAStatementNamesIsNotAssignedAgain()
    {
        Store store(u"named ids"_s);
        const QString insert = u"INSERT INTO ServerConfiguration (id, alias) VALUES (:v0, 'x')"_s;
        QCOMPARE(store.run(insert, {41}), QString());
        QCOMPARE(store.add(u"next"_s), 42);
        {
            HostTransaction transaction(*store.factory);
            QCOMPARE(store.run(insert, {50}), QString());
            QCOMPARE(store.add(u"next"_s), 51);
            QVERIFY(transaction.commit());
        }
        QCOMPARE(store.add(u"next"_s), 52);
    }

    // Each failure returns to the savepoint, and repeats the writes since then; there are more of
    // them than one savepoint covers.
    void failedStatementsUndoNothingInATransaction()
    {
        Store store(u"savepoints"_s);
        QStringList expected;
        HostTransaction transaction(*store.factory);
        for (int number = 0; number < 200; ++number) {
            QCOMPARE(store.add(QString::number(number)), number + 1);
            expected.append(QString::number(number));
            if (number % 7 == 0)
                QVERIFY(!store.run(Unknown).isEmpty());
            if (number % 11 == 0)
                QVERIFY(!store.run(u"INSERT INTO ServerConfiguration (id) VALUES (1)"_s).isEmpty());
        }
        QVERIFY(transaction.commit());

        QCOMPARE(store.aliases(), expected.join(u' '));
    }

    void theFirstStatementOfATransactionMayFail()
    {
        Store store(u"first fails"_s);
        HostTransaction transaction(*store.factory);
        QVERIFY(!store.run(Unknown).isEmpty());
        QCOMPARE(store.add(u"kept"_s), 1);
        QVERIFY(transaction.commit());

        QCOMPARE(store.aliases(), u"kept"_s);
    }

    void aNumberThatNoColumnHoldsFindsNothing()
    {
        Store store(u"numbers"_s);
        store.add(u"one"_s);

        QCOMPARE(
            store.run(u"SELECT id FROM ServerConfiguration WHERE id = :v0"_s, {5'000'000'000LL}),
            QString());
        QVERIFY(!store.query->next());
    }

    void aLongPathIsStoredAndFound()
    {
        Store store(u"paths"_s);
        QString path;
        for (int number = 0; path.size() < 20'000; ++number)
            path += u"/%1"_s.arg(number * 7919); // so that compressing it does not make it short
        QCOMPARE(
            store.run(u"INSERT INTO FileConfiguration (clientPath) VALUES (:v0)"_s, {path}),
            QString());
        QCOMPARE(
            store.run(u"SELECT clientPath FROM FileConfiguration WHERE clientPath = :v0"_s, {path}),
            QString());

        QVERIFY(store.query->next());
        QCOMPARE(store.query->value(0).toString(), path);
    }

    void nulInATextIsRefused()
    {
        Store store(u"nul"_s);
        QVERIFY(
            store
                .run(
                    u"INSERT INTO ServerConfiguration (alias) VALUES (:v0)"_s, {QString(u"a\0b"_s)})
                .contains(u"NUL"_s));
        QCOMPARE(store.aliases(), QString());
    }

    void errorsNameNoValue()
    {
        Store store(u"values"_s);
        const QString error =
            store.run(u"INSERT INTO FileConfiguration (size) VALUES (:v0)"_s, {u"my secret"_s});
        QVERIFY(!error.isEmpty());
        QVERIFY2(!error.contains(u"secret"_s), qPrintable(error));
        store.run(u"INSERT INTO FileConfiguration (id, name) VALUES (1, :v0)"_s, {u"secret"_s});
        const QString again =
            store.run(u"INSERT INTO FileConfiguration (id, name) VALUES (1, :v0)"_s, {u"secret"_s});
        QVERIFY(!again.isEmpty());
        QVERIFY2(!again.contains(u"secret"_s), qPrintable(again));
    }

    void aTableOfTheHostNeedsNoId()
    {
        Store store(u"host"_s);
        QCOMPARE(store.run(u"CREATE TABLE Own (word TEXT)"_s), QString());
        QCOMPARE(store.run(u"INSERT INTO Own (word) VALUES ('b')"_s), QString());
        HostTransaction transaction(*store.factory);
        QCOMPARE(store.run(u"INSERT INTO Own (word) VALUES ('a')"_s), QString());
        QVERIFY(transaction.commit());
        QCOMPARE(store.run(u"SELECT word FROM Own ORDER BY word"_s), QString());
        QVERIFY(store.query->next());
        QCOMPARE(store.query->value(0).toString(), u"a"_s);
        store.query.reset();
        QCOMPARE(store.run(u"DROP TABLE Own"_s), QString());
    }

    void aChangedTableIsReadAgain()
    {
        Store store(u"changed table"_s);
        store.run(u"CREATE TABLE Changing (id INTEGER, word TEXT)"_s);
        QCOMPARE(store.run(u"SELECT word FROM Changing"_s), QString());
        server->run(u"ALTER TABLE Changing ALTER COLUMN word TYPE BYTEA USING NULL"_s);

        QCOMPARE(store.run(u"SELECT word FROM Changing"_s), QString());
        store.query.reset();
        server->run(u"DROP TABLE Changing"_s);
    }

    void moreStatementsThanStayPrepared()
    {
        Store store(u"statements"_s);
        store.add(u"one"_s);
        for (int number = 0; number < 600; ++number)
            QCOMPARE(store.aliases(u"WHERE id <> %1"_s.arg(number + 2)), u"one"_s);
    }

    void anotherStoreCanBeWrittenMeanwhile()
    {
        Store store(u"one of two"_s);
        Store other(u"two of two"_s);
        HostTransaction transaction(*store.factory);
        store.add(u"open"_s);

        QCOMPARE(other.add(u"other"_s), 1);
        QVERIFY(transaction.commit());
    }

    void aWriterWaitsForTheTransactionOfAnother()
    {
        Store store(u"waiting"_s);
        HostTransaction transaction(*store.factory);
        store.add(u"first"_s);
        int id = 0;
        std::thread other([&] {
            Store same(u"waiting"_s);
            id = same.add(u"second"_s);
        });
        while (server->run(u"SELECT count(*) FROM pg_locks WHERE NOT granted"_s) == u"0")
            std::this_thread::yield();
        QVERIFY(transaction.commit());
        other.join();

        QCOMPARE(id, 2);
        QCOMPARE(store.aliases(), u"first second"_s);
    }

    void aWriterDoesNotWaitForEver()
    {
        const auto factory = PostgresDatabaseFactory::open(
            server->connection() + u" options='-c lock_timeout=20ms'"_s, u"patience"_s);
        Store store(u"patience"_s);
        HostTransaction transaction(*store.factory);
        store.add(u"first"_s);

        const auto query = factory->CreateQuery();
        query->prepare(u"INSERT INTO ServerConfiguration (alias) VALUES ('late')"_s);
        QVERIFY(!query->exec());
        QCOMPARE(factory->lastFailure()->cause, sync::database::DatabaseError::Cause::Busy);
        QVERIFY(transaction.commit());
        QVERIFY(query->exec());
    }

    void changesAreReportedOnce()
    {
        Store store(u"changes"_s);
        Store other(u"changes"_s);
        RecordKinds own;
        RecordKinds seen;
        const auto mine = store.factory->onChange([&](RecordKinds kinds) { own |= kinds; });
        const auto theirs = other.factory->onChange([&](RecordKinds kinds) { seen |= kinds; });

        store.add(u"new"_s);
        store.factory->poll();
        other.factory->poll();
        QVERIFY(own == RecordKind::Server);
        QVERIFY(seen == sync::database::AllRecordKinds);
        own = {};
        seen = {};
        store.factory->poll();
        other.factory->poll();
        QVERIFY(!own);
        QVERIFY(!seen);
    }

    void scopesCommitTogether()
    {
        Store store(u"scopes"_s);
        Store other(u"scopes"_s);
        {
            const TransactionalScope outer;
            const TransactionalScope inner;
            store.add(u"one"_s);
            store.add(u"two"_s);
            QCOMPARE(other.aliases(), QString());
        }
        QCOMPARE(other.aliases(), u"one two"_s);
    }

private:
    PostgresServer* server = nullptr;
};

int main(int argc, char** argv)
{
    return sync::test::runWithServer<TestPostgresEngine>(argc, argv);
}
#include "TestPostgresEngine.moc"
