#include "NeedsServer.h"

#include <database/DatabaseError.h>
#include <fleet/PostgresDatabaseFactory.h>

#include <QTest>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::fleet::PostgresDatabaseFactory;
using sync::test::PostgresServer;

/// What opening a store makes in an empty database, and who may see it.
class TestFleetSchema : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { server = PostgresServer::shared(); }

    void openingMakesTheTablesAndTheStore()
    {
        const auto factory = PostgresDatabaseFactory::open(server->connection(), u"first"_s);

        QCOMPARE(factory->storeId(), u"first"_s);
        QCOMPARE(count(u"velmio.Stores WHERE store = 'first'"_s), 1);
        QCOMPARE(count(u"velmio.Schedules WHERE store = 'first' AND syncInterval = 30"_s), 1);
        QCOMPARE(
            count(u"pg_class WHERE relnamespace = 'velmio'::regnamespace AND relkind = 'r'"
                  u" AND NOT relrowsecurity"_s),
            1); // SchemaVersions, which belongs to no store
    }

    void openingAgainChangesNothing()
    {
        PostgresDatabaseFactory::open(server->connection(), u"again"_s);
        PostgresDatabaseFactory::open(server->connection(), u"again"_s);

        QCOMPARE(count(u"velmio.Schedules WHERE store = 'again'"_s), 1);
    }

    // As after a program that was killed while it made the tables.
    void anInterruptedSchemaIsCompleted()
    {
        PostgresDatabaseFactory::open(server->connection(), u"complete"_s);
        server->run(u"DELETE FROM velmio.SchemaVersions"_s);
        server->run(u"DROP TABLE velmio.Schedules"_s);

        PostgresDatabaseFactory::open(server->connection(), u"completed"_s);

        QCOMPARE(count(u"velmio.Schedules WHERE store = 'completed'"_s), 1);
    }

    void aNewerSchemaIsRefused()
    {
        PostgresDatabaseFactory::open(server->connection(), u"newer"_s);
        server->run(u"INSERT INTO velmio.SchemaVersions VALUES (99)"_s);

        const QString refusal = refusalOf(server->connection(), u"newer"_s);
        server->run(u"DELETE FROM velmio.SchemaVersions WHERE version = 99"_s);

        QVERIFY2(refusal.contains(u"has version 99"_s), qPrintable(refusal));
    }

    void aClientOpensTheStoreOfItsNameAlone()
    {
        PostgresDatabaseFactory::open(server->connection(), u"theirs"_s);
        server->run(u"CREATE ROLE mine LOGIN IN ROLE velmio_client"_s);
        const QString login = server->connection(u"mine"_s);

        QCOMPARE(PostgresDatabaseFactory::open(login, u"mine"_s)->storeId(), u"mine"_s);
        const QString refusal = refusalOf(login, u"theirs"_s);
        QVERIFY2(refusal.contains(u"must have the name of the store"_s), qPrintable(refusal));
    }

    void aServiceOpensAnyStore()
    {
        PostgresDatabaseFactory::open(server->connection(), u"any"_s);
        server->run(u"CREATE ROLE service LOGIN IN ROLE velmio_service"_s);

        PostgresDatabaseFactory::open(server->connection(u"service"_s), u"any"_s);
        PostgresDatabaseFactory::open(server->connection(u"service"_s), u"brand new"_s);

        QCOMPARE(count(u"velmio.Stores WHERE store IN ('any', 'brand new')"_s), 2);
    }

    void aReportOpensOnlyWhatExists()
    {
        PostgresDatabaseFactory::open(server->connection(), u"existing"_s);
        server->run(u"CREATE ROLE report LOGIN IN ROLE velmio_report"_s);
        const QString login = server->connection(u"report"_s);

        PostgresDatabaseFactory::open(login, u"existing"_s);
        QVERIFY(!refusalOf(login, u"not there"_s).isEmpty());
    }

    void aLoginWithoutARoleSeesNothing()
    {
        server->run(u"CREATE ROLE stranger LOGIN"_s);

        const QString refusal = refusalOf(server->connection(u"stranger"_s), u"first"_s);

        QVERIFY2(refusal.contains(u"needs the role"_s), qPrintable(refusal));
    }

    void anErrorDoesNotRepeatThePassword()
    {
        const QString refusal = refusalOf(u"dbname=x password=two halves"_s, u"store"_s);
        QVERIFY2(!refusal.contains(u"halves"_s), qPrintable(refusal));
        const QString unreachable =
            refusalOf(u"postgresql://me:secret@/x?host=/nowhere"_s, u"store"_s);
        QVERIFY2(unreachable.contains(u"/nowhere"_s), qPrintable(unreachable));
        QVERIFY2(!unreachable.contains(u"secret"_s), qPrintable(unreachable));
    }

private:
    int count(const QString& what) const
    {
        return server->run(u"SELECT count(*) FROM "_s + what).toInt();
    }

    static QString refusalOf(const QString& connection, const QString& storeId)
    {
        try {
            PostgresDatabaseFactory::open(connection, storeId);
        } catch (const DatabaseError& error) {
            return error.text();
        }
        return {};
    }

    PostgresServer* server = nullptr;
};

int main(int argc, char** argv)
{
    return sync::test::runWithServer<TestFleetSchema>(argc, argv);
}
#include "TestFleetSchema.moc"
