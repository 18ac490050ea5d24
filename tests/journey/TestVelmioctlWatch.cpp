#include "VelmioctlRunner.h"

#include <QJsonDocument>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <sys/types.h>

using namespace Qt::StringLiterals;

class TestVelmioctlWatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        watch = std::make_unique<QProcess>();
        watch->setProcessEnvironment(tool->environment);
    }

    void cleanup()
    {
        watch.reset();
        tool.reset();
    }

    void changesArePrintedAsTheyHappen()
    {
        start({u"--json"_s, u"watch"_s});

        QVERIFY(
            tool->execute(u"INSERT INTO ServerConfiguration (id, alias) VALUES (7, 'seven')"_s));
        const QJsonObject added = nextChange();
        QVERIFY(
            tool->execute(u"UPDATE ServerConfiguration SET davUrl = 'https://x' WHERE id = 7"_s));
        const QJsonObject changed = nextChange();
        QVERIFY(tool->execute(u"DELETE FROM ServerConfiguration WHERE id = 7"_s));
        const QJsonObject removed = nextChange();
        QCOMPARE(::kill(pid_t(watch->processId()), SIGINT), 0);
        QVERIFY(watch->waitForFinished());

        for (const QJsonObject& change : {added, changed, removed}) {
            QCOMPARE(change[u"table"_s].toString(), u"ServerConfiguration"_s);
            QCOMPARE(change[u"id"_s].toInt(), 7);
            QCOMPARE(change[u"name"_s].toString(), u"seven"_s);
        }
        QCOMPARE(added[u"change"_s].toString(), u"added"_s);
        QCOMPARE(changed[u"change"_s].toString(), u"changed"_s);
        QCOMPARE(removed[u"change"_s].toString(), u"removed"_s);
        QCOMPARE(watch->exitCode(), 130);
    }

    void countEndsIt()
    {
        start({u"watch"_s, u"--count"_s, u"1"_s});

        QVERIFY(tool->execute(u"UPDATE Schedules SET syncInterval = 5"_s));
        QVERIFY(watch->waitForFinished());

        QCOMPARE(watch->exitCode(), 0);
        QVERIFY(watch->readAllStandardOutput().endsWith("Z  changed  Schedules 1\n"));
    }

    void aFullDiskEndsIt()
    {
        watch->setStandardOutputFile(u"/dev/full"_s);
        start({u"watch"_s});

        QVERIFY(tool->execute(u"UPDATE Schedules SET syncInterval = 5"_s));
        QVERIFY(watch->waitForFinished());

        QCOMPARE(watch->exitCode(), 8);
        QVERIFY(watch->readAllStandardError().contains("The disk is full"));
    }

    void missingDatabaseIsNotFound()
    {
        QCOMPARE(tool->runPlain({u"--database"_s, tool->path(u"none"_s), u"watch"_s}).exitCode, 3);
    }

private:
    // Returns when it has seen the database.
    void start(const QStringList& arguments) const
    {
        watch->start(
            tool->programPath(), QStringList{u"--database"_s, tool->databasePath()} + arguments);
        watch->setReadChannel(QProcess::StandardError);
        QVERIFY(watch->waitForReadyRead());
        QVERIFY(watch->readLine().startsWith("Watching the database "));
        watch->setReadChannel(QProcess::StandardOutput);
    }
    QJsonObject nextChange() const
    {
        while (!watch->canReadLine()) {
            if (!watch->waitForReadyRead())
                return {};
        }
        return QJsonDocument::fromJson(watch->readLine()).object();
    }

    std::unique_ptr<VelmioctlRunner> tool;
    std::unique_ptr<QProcess> watch;
};

QTEST_GUILESS_MAIN(TestVelmioctlWatch)
#include "TestVelmioctlWatch.moc"
