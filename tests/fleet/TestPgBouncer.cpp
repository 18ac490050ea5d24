#include "NeedsServer.h"

#include <support/AsNobody.h>

#include <database/HostTransaction.h>
#include <fleet/PostgresDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

#include <libpq-fe.h>

using namespace Qt::StringLiterals;
using sync::database::HostTransaction;
using sync::fleet::PostgresDatabaseFactory;
using sync::test::PostgresServer;

namespace {

const QString Program = u"/usr/sbin/pgbouncer"_s;

/// A pool that lends one server to two clients, for a transaction at a time.
class Pool
{
public:
    Pool(const PostgresServer& server, const QString& setting)
        : folder(QDir::tempPath() + u"/velmio-pb.XXXXXX"_s)
    {
        write(u"users"_s, u"\"pooled\" \"\""_s);
        const QString settings = write(
            u"pgbouncer.ini"_s,
            u"[databases]\n* = host=%1\n[pgbouncer]\nlisten_addr =\nunix_socket_dir = %2\n"
            u"auth_type = trust\nauth_file = %2/users\npool_mode = transaction\n"
            u"default_pool_size = 1\n%3\n"_s.arg(server.socketFolder(), folder.path(), setting));
        sync::test::giveToNobody(folder.path());
        process.setChildProcessModifier(sync::test::becomeNobody);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(Program, {settings});
        while (PQping(connection(u"pooled"_s).toUtf8().constData()) != PQPING_OK) {
            if (process.waitForFinished(2))
                qFatal("The pool has ended: %s", process.readAll().constData());
        }
    }
    ~Pool()
    {
        process.kill();
        process.waitForFinished();
    }
    Q_DISABLE_COPY_MOVE(Pool)

    QString connection(const QString& login) const
    {
        return u"host=%1 port=6432 dbname=postgres user=%2"_s.arg(folder.path(), login);
    }

private:
    QString write(const QString& name, const QString& text) const
    {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0)
            qFatal("Cannot write the configuration of the pool");
        return file.fileName();
    }

    QTemporaryDir folder;
    QProcess process;
};

int add(PostgresDatabaseFactory& factory, const QString& alias)
{
    const auto query = factory.CreateQuery();
    query->prepare(u"INSERT INTO ServerConfiguration (alias) VALUES (:alias)"_s);
    query->bindValue(u":alias"_s, alias);
    if (!query->exec())
        qWarning("%s", qPrintable(query->lastError()));
    return query->lastInsertId().toInt();
}

QString aliases(PostgresDatabaseFactory& factory)
{
    const auto query = factory.CreateQuery();
    query->prepare(u"SELECT alias FROM ServerConfiguration"_s);
    if (!query->exec())
        return query->lastError();
    QStringList all;
    while (query->next())
        all.append(query->value(0).toString());
    return all.join(u' ');
}

} // namespace

/// Stores behind PgBouncer in its transaction mode.
class TestPgBouncer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        server = PostgresServer::shared();
        PostgresDatabaseFactory::open(server->connection(), u"first"_s);
        server->run(u"CREATE ROLE pooled LOGIN IN ROLE velmio_service"_s);
    }

    // It refuses a setting that its server would keep, or leaves it out if it is told to.
    void storesShareOneServer_data()
    {
        QTest::addColumn<QString>("setting");
        QTest::newRow("refuses") << QString();
        QTest::newRow("leaves out") << u"ignore_startup_parameters = options"_s;
    }
    void storesShareOneServer()
    {
        QFETCH(QString, setting);
        const Pool pool(*server, setting);
        const QString prefix = setting.left(1);
        const auto one = PostgresDatabaseFactory::open(pool.connection(u"pooled"_s), prefix + u'1');
        const auto two = PostgresDatabaseFactory::open(pool.connection(u"pooled"_s), prefix + u'2');
        int changes = 0;
        const auto listening = two->onChange([&changes](auto) { ++changes; });

        for (int round = 1; round <= 3; ++round) {
            QCOMPARE(add(*one, u"a"_s), 3 * round - 2);
            QCOMPARE(add(*two, u"b"_s), round);
            HostTransaction transaction(*one);
            QCOMPARE(add(*one, u"c"_s), 3 * round - 1);
            QCOMPARE(add(*one, u"d"_s), 3 * round);
            QVERIFY(transaction.commit());
        }
        {
            HostTransaction transaction(*two);
            add(*two, u"lost"_s);
        }

        QCOMPARE(aliases(*one), u"a c d a c d a c d"_s);
        QCOMPARE(aliases(*two), u"b b b"_s);
        QCOMPARE(changes, 3);
        const auto other = PostgresDatabaseFactory::open(server->connection(), prefix + u'2');
        add(*other, u"other"_s);
        two->poll();
        QCOMPARE(changes, 4);
        QCOMPARE(one->failureCount() + two->failureCount(), 0);
    }

private:
    PostgresServer* server = nullptr;
};

int main(int argc, char** argv)
{
    if (!QFile::exists(Program)) {
        std::puts("not run: the package pgbouncer is not installed");
        return 77;
    }
    return sync::test::runWithServer<TestPgBouncer>(argc, argv);
}
#include "TestPgBouncer.moc"
