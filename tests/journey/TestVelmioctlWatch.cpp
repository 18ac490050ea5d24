#include "VelmioctlRunner.h"

#include <QFile>
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

    void recordsOfARootFollowTheDisk()
    {
        tool->makeFolder(u"one"_s);
        tool->writeFile(u"one/a"_s, "a");
        QCOMPARE(
            tool->run({u"folder"_s, u"add"_s, u"one"_s, u"--server-path"_s, u"/S"_s}).exitCode, 0);
        start({u"--json"_s, u"watch"_s, tool->path(u"one"_s)}, "Keeping the records ");

        const QJsonObject first = nextChange();
        tool->writeFile(u"one/b"_s, "b");
        const QJsonObject later = nextChange();
        QVERIFY(QFile::rename(tool->path(u"one/b"_s), tool->path(u"one/c"_s)));
        const QJsonObject renamed = nextChange();
        QCOMPARE(::kill(pid_t(watch->processId()), SIGINT), 0);
        QVERIFY(watch->waitForFinished());

        QCOMPARE(first[u"name"_s].toString(), tool->path(u"one/a"_s));
        QCOMPARE(later[u"change"_s].toString(), u"added"_s);
        QCOMPARE(later[u"name"_s].toString(), tool->path(u"one/b"_s));
        QCOMPARE(renamed[u"change"_s].toString(), u"changed"_s);
        QCOMPARE(renamed[u"id"_s].toInt(), later[u"id"_s].toInt());
        QCOMPARE(renamed[u"name"_s].toString(), tool->path(u"one/c"_s));
        QCOMPARE(watch->exitCode(), 130);
    }

    void missingDatabaseIsNotFound()
    {
        QCOMPARE(tool->runPlain({u"--database"_s, tool->path(u"none"_s), u"watch"_s}).exitCode, 3);
    }

private:
    // Returns when it has seen the database.
    void start(const QStringList& arguments, const char* note = "Watching the database ") const
    {
        watch->start(
            tool->programPath(), QStringList{u"--database"_s, tool->databasePath()} + arguments);
        watch->setReadChannel(QProcess::StandardError);
        QVERIFY(watch->waitForReadyRead());
        QVERIFY(watch->readLine().startsWith(note));
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
