#include "NeedsServer.h"
#include "ServerProxy.h"

#include "../faults/support/Trials.h"

#include <database/HostTransaction.h>
#include <database/TransactionalScope.h>
#include <fleet/PostgresDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QFile>
#include <QLoggingCategory>
#include <QSet>
#include <QTest>

#include <atomic>
#include <random>
#include <thread>

using namespace Qt::StringLiterals;
using sync::database::DatabaseError;
using sync::database::Failure;
using sync::database::HostTransaction;
using sync::database::TransactionalScope;
using sync::fleet::PostgresDatabaseFactory;
using sync::test::PostgresServer;
using sync::test::ServerProxy;

namespace {

using Factory = std::shared_ptr<PostgresDatabaseFactory>;

bool run(PostgresDatabaseFactory& factory, const QString& sql, const QString& value = {})
{
    const auto query = factory.CreateQuery();
    query->prepare(sql);
    if (!value.isNull())
        query->bindValue(u":value"_s, value);
    return query->exec();
}

bool add(PostgresDatabaseFactory& factory, const QString& alias)
{
    return run(factory, u"INSERT INTO ServerConfiguration (alias) VALUES (:value)"_s, alias);
}

/// Nothing if the rows cannot be read.
std::optional<QSet<QString>> aliases(PostgresDatabaseFactory& factory)
{
    const auto query = factory.CreateQuery();
    query->prepare(u"SELECT alias FROM ServerConfiguration"_s);
    if (!query->exec())
        return {};
    QSet<QString> all;
    while (query->next()) {
        const QString alias = query->value(0).toString();
        all.insert(all.contains(alias) ? alias + u" twice"_s : alias);
    }
    return all;
}

/// What a client knows of its writes, each a group of rows that is stored whole or not at all.
class Ledger
{
public:
    void note(const QStringList& group, bool stored)
    {
        if (!group.isEmpty())
            (stored ? kept : unknown).append(group);
    }

    /// What contradicts the rows; empty if nothing does.
    QByteArray findingOf(const QSet<QString>& rows) const
    {
        QSet<QString> explained;
        for (const QStringList& group : kept) {
            for (const QString& row : group) {
                if (!rows.contains(row))
                    return "lost: " + row.toUtf8();
                explained.insert(row);
            }
        }
        for (const QStringList& group : unknown) {
            qsizetype found = 0;
            for (const QString& row : group)
                found += rows.contains(row) ? 1 : 0;
            if (found != 0 && found != group.size())
                return "half a transaction: " + group.first().toUtf8();
            explained.unite(QSet<QString>(group.begin(), group.end()));
        }
        return rows.size() <= explained.size() && explained.contains(rows)
                   ? QByteArray()
                   : QByteArray("a row that nobody has stored");
    }

    qsizetype failures() const { return unknown.size(); }

private:
    QList<QStringList> kept;
    QList<QStringList> unknown;
};

/// The rows that could be added.
QStringList addBoth(PostgresDatabaseFactory& factory, const QStringList& rows)
{
    QStringList added;
    for (const QString& row : rows) {
        if (add(factory, row))
            added.append(row);
        run(factory, u"SELECT a FROM NoSuchTable"_s); // fails, and undoes nothing
    }
    return added;
}

void addInTransaction(PostgresDatabaseFactory& factory, Ledger& ledger, const QString& name)
{
    HostTransaction transaction(factory);
    if (!transaction.isOpen()) // it never began
        return;
    const QStringList added = addBoth(factory, {name + u'1', name + u'2'});
    ledger.note(added, transaction.commit());
}

void addInScopes(PostgresDatabaseFactory& factory, Ledger& ledger, const QString& name)
{
    QStringList added;
    int failures = 0;
    {
        const TransactionalScope outer;
        const TransactionalScope inner;
        added = addBoth(factory, {name + u'3', name + u'4'});
        failures = factory.failureCount();
    }
    ledger.note(added, factory.failureCount() == failures);
}

/// Writes of every kind. Reads must succeed, because they are repeated.
QByteArray workOn(PostgresDatabaseFactory& factory, Ledger& ledger)
{
    const auto read = [&factory] { return aliases(factory).has_value(); };
    for (const QString& name : {u"a"_s, u"b"_s}) {
        ledger.note({name}, add(factory, name));
        if (!read())
            return "a read failed after " + name.toUtf8();
        addInTransaction(factory, ledger, name);
        if (!read())
            return "a read failed after the transaction of " + name.toUtf8();
        addInScopes(factory, ledger, name);
        ledger.note({name + u"5"_s}, add(factory, name + u"5"_s));
    }
    return {};
}

} // namespace

/// What happens to a store when its server, or the way to it, fails.
class TestFleetFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules(u"velmio.fleet.warning=false"_s); }

    // The connection is cut at every round trip in turn: once before the server gets the request,
    // and once when it has carried it out.
    void nothingIsLostWhenTheConnectionIsCut_data()
    {
        QTest::addColumn<ServerProxy::Cut>("cut");
        QTest::newRow("before the server") << ServerProxy::Cut::BeforeServer;
        QTest::newRow("before the client") << ServerProxy::Cut::BeforeClient;
    }
    void nothingIsLostWhenTheConnectionIsCut()
    {
        QFETCH(ServerProxy::Cut, cut);
        failAtEachRoundTrip(cut, {});
    }

    // A server that is killed and started again, at every round trip in turn.
    void nothingIsLostWhenTheServerIsKilled_data() { nothingIsLostWhenTheConnectionIsCut_data(); }
    void nothingIsLostWhenTheServerIsKilled()
    {
        QFETCH(ServerProxy::Cut, cut);
        failAtEachRoundTrip(cut, [this] {
            server.kill();
            server.start();
        });
    }

    void aLoneWriteWithAnUnknownOutcomeSaysSo()
    {
        ServerProxy proxy(server);
        const Factory factory = PostgresDatabaseFactory::open(proxy.connection(), u"unknown"_s);
        proxy.cutAt(1, ServerProxy::Cut::BeforeClient);

        QVERIFY(!add(*factory, u"perhaps"_s));
        const QString error = factory->lastFailure()->text;
        QVERIFY2(error.contains(u"not known whether"_s), qPrintable(error));
        QVERIFY(add(*factory, u"next"_s));
    }

    void aTransactionStaysLostUntilItEnds()
    {
        ServerProxy proxy(server);
        const Factory factory = PostgresDatabaseFactory::open(proxy.connection(), u"lost"_s);
        HostTransaction transaction(*factory);
        QVERIFY(add(*factory, u"one"_s));
        proxy.cutAt(1, ServerProxy::Cut::BeforeServer);
        QVERIFY(!add(*factory, u"two"_s));
        QVERIFY(!add(*factory, u"three"_s));
        QVERIFY(!aliases(*factory));
        QVERIFY(!transaction.commit());

        QVERIFY(add(*factory, u"four"_s));
        QCOMPARE(aliases(*factory).value(), QSet<QString>{u"four"_s});
    }

    // A lost session takes nothing with it that the next one lacks: a service still sees its store.
    void aNewConnectionHasTheStateOfTheOld()
    {
        PostgresDatabaseFactory::open(server.connection(), u"state"_s);
        server.run(u"CREATE ROLE state_service LOGIN IN ROLE velmio_service"_s);
        const Factory factory =
            PostgresDatabaseFactory::open(server.connection(u"state_service"_s), u"state"_s);
        QVERIFY(add(*factory, u"one"_s));
        server.kill();
        server.start();

        QVERIFY(add(*factory, u"two"_s));
        QCOMPARE(aliases(*factory).value(), (QSet<QString>{u"one"_s, u"two"_s}));
    }

    // Each transaction of one touches the rows in the opposite order of the other's.
    void twoWritersInOppositeOrdersDoNotDeadlock()
    {
        const Factory first = PostgresDatabaseFactory::open(server.connection(), u"orders"_s);
        const Factory second = PostgresDatabaseFactory::open(server.connection(), u"orders"_s);
        QVERIFY(add(*first, u"x"_s) && add(*first, u"y"_s));
        const int rounds = std::max(1, static_cast<int>(200 * sync::test::faultScale()));
        const auto work = [rounds](const Factory& factory, const QStringList& order) {
            for (int round = 0; round < rounds; ++round) {
                HostTransaction transaction(*factory);
                for (const QString& alias : order) {
                    run(*factory,
                        u"UPDATE ServerConfiguration SET davUrl = 'touched' WHERE alias = :value"_s,
                        alias);
                }
                transaction.commit();
            }
        };
        std::thread other([&] { work(second, {u"y"_s, u"x"_s}); });
        work(first, {u"x"_s, u"y"_s});
        other.join();

        QCOMPARE(first->lastFailure().value_or(Failure()).text, QString());
        QCOMPARE(second->lastFailure().value_or(Failure()).text, QString());
    }

    void aFullDiskOfTheServerLosesNothing()
    {
        PostgresServer small({.preload = VELMIO_FULL_SERVER_DISK});
        const Factory factory = PostgresDatabaseFactory::open(small.connection(), u"full"_s);
        QSet<QString> stored;
        QFile full(small.fullDiskFile());
        QVERIFY(full.open(QIODevice::WriteOnly));

        // Until the first page that is not there yet.
        while (stored.size() < 1000) {
            const QString alias = QString::number(stored.size()).rightJustified(500, u'.');
            if (!add(*factory, alias))
                break;
            stored.insert(alias);
        }

        QCOMPARE(factory->lastFailure()->cause, DatabaseError::Cause::DiskFull);
        QCOMPARE(aliases(*factory).value(), stored);
        QVERIFY(full.remove());
        QVERIFY(add(*factory, u"after"_s));
        stored.insert(u"after"_s);
        QCOMPARE(aliases(*factory).value(), stored);
    }

    // The primary is killed at a random write, and its synchronous standby promoted.
    void everyAcknowledgedWriteIsOnThePromotedStandby()
    {
        sync::test::runTrials(1, [](quint32 trial) { return failOver(trial); });
    }

private:
    void failAtEachRoundTrip(ServerProxy::Cut cut, const std::function<void()>& then)
    {
        for (int roundTrip = sync::test::firstCall();; roundTrip += sync::test::everyCallStep()) {
            ServerProxy proxy(server);
            const QString store = u"%1 %2 %3"_s.arg(
                QString::fromUtf8(QTest::currentTestFunction()),
                QString::fromUtf8(QTest::currentDataTag()), QString::number(roundTrip));
            const Factory factory = PostgresDatabaseFactory::open(proxy.connection(), store);
            proxy.cutAt(roundTrip, cut, then);
            Ledger ledger;
            const QByteArray finding = workOn(*factory, ledger);
            QVERIFY2(finding.isEmpty(), finding.constData());
            if (proxy.roundTrips() < roundTrip) {
                QCOMPARE(ledger.failures(), 0);
                QVERIFY(roundTrip > 20);
                qInfo("%d round trips", proxy.roundTrips());
                return;
            }
            const auto rows = aliases(*PostgresDatabaseFactory::open(server.connection(), store));
            QVERIFY(rows.has_value());
            const QByteArray difference = ledger.findingOf(*rows);
            QVERIFY2(
                difference.isEmpty(),
                (difference + " at round trip " + QByteArray::number(roundTrip)).constData());
            // One failure, of what was under way.
            QVERIFY2(ledger.failures() <= 2, QByteArray::number(ledger.failures()).constData());
        }
    }

    static QByteArray failOver(quint32 trial)
    {
        std::mt19937 random(trial);
        PostgresServer primary;
        const QString store = u"failover"_s;
        PostgresDatabaseFactory::open(primary.connection(), store);
        PostgresServer standby(primary, {});
        primary.run(u"ALTER SYSTEM SET synchronous_standby_names = '*'"_s);
        primary.run(u"SELECT pg_reload_conf()"_s);
        while (primary.run(u"SELECT sync_state FROM pg_stat_replication"_s) != u"sync"_s)
            std::this_thread::yield();
        const QString both =
            primary.connection().replace(
                primary.socketFolder(), primary.socketFolder() + u',' + standby.socketFolder()) +
            u" target_session_attrs=read-write"_s;
        const Factory factory = PostgresDatabaseFactory::open(both, store);

        Ledger ledger;
        const int killAt = std::uniform_int_distribution<int>(1, 200)(random);
        std::atomic<int> written = 0;
        std::thread killer([&] {
            while (written < killAt)
                std::this_thread::yield();
            primary.kill();
            standby.promote();
        });
        for (int number = 0; number < killAt + 50; ++number) {
            const QString row = QString::number(number);
            ledger.note({row}, add(*factory, row));
            ++written;
            if (number == killAt)
                killer.join();
        }
        const auto rows = aliases(*PostgresDatabaseFactory::open(standby.connection(), store));
        if (!rows)
            return "the standby cannot be read";
        if (ledger.failures() > 2)
            return "the writer has not found the standby";
        return ledger.findingOf(*rows);
    }

    PostgresServer server;
};

int main(int argc, char** argv)
{
    return sync::test::runWithServer<TestFleetFaults>(argc, argv);
}
#include "TestFleetFaults.moc"
