#include "NeedsServer.h"

#include <fleet/PostgresDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>
#include <support/Repetitions.h>

#include <QTest>

#include <libpq-fe.h>

#include <memory>
#include <random>

using namespace Qt::StringLiterals;
using sync::fleet::PostgresDatabaseFactory;
using sync::test::PostgresServer;

namespace {

const QStringList Tables{u"ServerConfiguration"_s,   u"AuthenticationConfiguration"_s,
                         u"ProductConfiguration"_s,  u"FolderConfiguration"_s,
                         u"FileConfiguration"_s,     u"GeneratedFileConfiguration"_s,
                         u"BaseFileConfiguration"_s, u"Schedules"_s};

struct Close
{
    void operator()(PGconn* connection) const { PQfinish(connection); }
    void operator()(PGresult* result) const { PQclear(result); }
};

/// A login that speaks to the server without the engine, which would name the store everywhere.
class Login
{
public:
    explicit Login(const QString& connection)
        : connection(PQconnectdb(connection.toUtf8().constData()))
    {
    }

    /// Column 0 of the first row, or the number of rows that were touched; -1 if it fails.
    int run(const QString& sql)
    {
        const std::unique_ptr<PGresult, Close> result(
            PQexec(connection.get(), sql.toUtf8().constData()));
        switch (PQresultStatus(result.get())) {
        case PGRES_TUPLES_OK:
            return QByteArray(PQgetvalue(result.get(), 0, 0)).toInt();
        case PGRES_COMMAND_OK:
            return QByteArray(PQcmdTuples(result.get())).toInt();
        default:
            return -1;
        }
    }

private:
    const std::unique_ptr<PGconn, Close> connection;
};

} // namespace

/// No store sees or changes the rows of another one, whatever its login does.
class TestFleetIsolation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        server = PostgresServer::shared();
        for (const QString& store : {u"mine"_s, u"other"_s}) {
            const auto factory = PostgresDatabaseFactory::open(server->connection(), store);
            for (const QString& table : Tables)
                server->run(u"INSERT INTO velmio.%1 (store, id) SELECT '%2', n "
                            u"FROM generate_series(10, 30) AS n"_s.arg(table, store));
        }
        server->run(u"CREATE ROLE mine LOGIN IN ROLE velmio_client"_s);
        server->run(u"CREATE ROLE a_service LOGIN IN ROLE velmio_service"_s);
        server->run(u"CREATE ROLE a_report LOGIN IN ROLE velmio_report"_s);
    }

    // Random statements that name no store, or the wrong one.
    void aLoginStaysInItsStore_data()
    {
        QTest::addColumn<QString>("connection");
        QTest::newRow("client") << server->connection(u"mine"_s);
        QTest::newRow("service") << server->connection(u"a_service"_s) +
                                        u" options='-c velmio.store=mine'"_s;
    }
    void aLoginStaysInItsStore()
    {
        QFETCH(QString, connection);
        Login login(connection);
        Login administrator(server->connection());
        const QString before = rowsOf(u"other"_s);
        std::mt19937 random(1);
        for (int step = sync::test::repetitions(400); step > 0; --step) {
            const QString table = Tables.at(qsizetype(random() % 8));
            const QString id = QString::number(10 + random() % 40);
            const QString own = u"velmio.%1 WHERE store = 'mine'"_s.arg(table);
            const auto verify = [&](QString sql, const auto& isRight) {
                sql.replace(u"%1"_s, table).replace(u"%2"_s, id);
                QVERIFY2(isRight(login.run(sql)), qPrintable(sql));
            };
            switch (random() % 8) {
            case 0: {
                const int count = administrator.run(u"SELECT count(*) FROM "_s + own);
                verify(
                    u"SELECT count(*) FROM velmio.%1"_s, [=](int found) { return found == count; });
                break;
            }
            case 1:
                verify(u"SELECT count(*) FROM velmio.%1 WHERE store = 'other'"_s, [](int found) {
                    return found == 0;
                });
                break;
            case 2:
                verify(u"UPDATE velmio.%1 SET id = id WHERE store <> 'mine'"_s, [](int touched) {
                    return touched == 0;
                });
                break;
            case 3:
                verify(u"UPDATE velmio.%1 SET store = 'other' WHERE id >= %2"_s, [](int touched) {
                    return touched <= 0;
                });
                break;
            case 4:
                verify(
                    u"INSERT INTO velmio.%1 (store, id) VALUES ('other', 1000 + %2)"_s,
                    [](int touched) { return touched == -1; });
                break;
            case 5:
                verify(
                    u"INSERT INTO velmio.%1 (store, id) VALUES ('mine', %2) ON CONFLICT DO NOTHING"_s,
                    [](int touched) { return touched >= 0; });
                break;
            case 6:
                verify(u"DELETE FROM velmio.%1 WHERE id = %2"_s, [](int touched) {
                    return touched >= 0 && touched <= 1;
                });
                break;
            default:
                verify(u"UPDATE velmio.Counters SET %1 = %1 + 1"_s, [](int touched) {
                    return touched == 1;
                });
            }
            if (QTest::currentTestFailed())
                return;
        }
        QCOMPARE(rowsOf(u"other"_s), before);
    }

    void aServiceWithoutAStoreSeesNothing()
    {
        Login login(server->connection(u"a_service"_s));
        for (const QString& table : Tables)
            QCOMPARE(login.run(u"SELECT count(*) FROM velmio."_s + table), 0);
    }

    void aClientCannotChooseAnotherStore()
    {
        Login login(server->connection(u"mine"_s) + u" options='-c velmio.store=other'"_s);
        QCOMPARE(login.run(u"SELECT count(*) FROM velmio.Stores WHERE store = 'other'"_s), 0);
        QCOMPARE(login.run(u"SET ROLE velmio_service"_s), -1);
    }

    void aReportReadsEveryStoreAndChangesNothing()
    {
        Login login(server->connection(u"a_report"_s));
        QVERIFY(login.run(u"SELECT count(DISTINCT store) FROM velmio.Schedules"_s) >= 2);
        for (const QString& table : Tables) {
            QCOMPARE(login.run(u"DELETE FROM velmio."_s + table), -1);
            QCOMPARE(login.run(u"UPDATE velmio.%1 SET id = 1"_s.arg(table)), -1);
        }
    }

    // The administrator, whom no policy restricts, is in one store too.
    void theEngineStaysInItsStoreForTheAdministrator()
    {
        const auto factory = PostgresDatabaseFactory::open(server->connection(), u"mine"_s);
        const QString before = rowsOf(u"other"_s);
        for (const QString& table : Tables) {
            const auto query = factory->CreateQuery();
            query->prepare(u"UPDATE %1 SET id = id + 1000"_s.arg(table));
            QVERIFY(query->exec());
            query->prepare(u"SELECT count(*) FROM "_s + table);
            QVERIFY(query->exec() && query->next());
            QCOMPARE(
                query->value(0).toInt(),
                server->run(u"SELECT count(*) FROM velmio.%1 WHERE store = 'mine'"_s.arg(table))
                    .toInt());
            query->prepare(u"DELETE FROM "_s + table);
            QVERIFY(query->exec());
        }
        QCOMPARE(rowsOf(u"other"_s), before);
    }

private:
    // All rows of a store, as one text for each table.
    QString rowsOf(const QString& store) const
    {
        QStringList all;
        for (const QString& table : Tables + QStringList{u"Counters"_s, u"Stores"_s}) {
            all.append(server->run(
                u"SELECT string_agg(row::text, ' ' ORDER BY row::text) FROM velmio.%1 AS row "
                u"WHERE store = '%2'"_s.arg(table, store)));
        }
        return all.join(u'\n');
    }

    PostgresServer* server = nullptr;
};

int main(int argc, char** argv)
{
    return sync::test::runWithServer<TestFleetIsolation>(argc, argv);
}
#include "TestFleetIsolation.moc"
