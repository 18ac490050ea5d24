#include "VelmioctlRunner.h"

#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>
#include <QTest>

#include <csignal>
#include <sys/stat.h>

using namespace Qt::StringLiterals;
using sync::database::SqliteDatabaseFactory;

namespace {

const QString InsertProduct = u"INSERT INTO ProductConfiguration (id) VALUES (7)"_s;

// Of makeManyFiles(), and the two files that each test has.
constexpr int ManyRows = 12'002;

} // namespace

class TestVelmioctlScanFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        tool = std::make_unique<VelmioctlRunner>();
        tool->makeFolder(u"one/a"_s);
        tool->writeFile(u"one/b"_s, "bb");
        tool->writeFile(u"one/a/c"_s, "abc");
        QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
        QVERIFY(tool->execute(InsertProduct));
        QCOMPARE(
            tool->run({u"folder"_s, u"add"_s, u"one"_s, u"--server-path"_s, u"/S"_s, u"--product"_s,
                       u"7"_s})
                .exitCode,
            0);
    }

    void cleanup() { tool.reset(); }

    void newFilesAreStoredWithAllTheirFields()
    {
        const QJsonObject scanned = scan();

        QCOMPARE(scanned[u"files"_s][u"seen"_s].toInt(), 2);
        QCOMPARE(scanned[u"files"_s][u"new"_s].toInt(), 2);
        const QJsonObject stored = file(u"a/c"_s);
        const QFileInfo disk(tool->path(u"one/a/c"_s));
        QCOMPARE(stored[u"name"_s].toString(), u"c"_s);
        QCOMPARE(stored[u"serverPath"_s].toString(), u"/S/a/c"_s);
        QCOMPARE(stored[u"folderConfigurationId"_s].toInt(), 2);
        QCOMPARE(stored[u"rootFolderId"_s].toInt(), 1);
        QCOMPARE(stored[u"productConfigurationId"_s].toInt(), 7);
        QCOMPARE(stored[u"syncStatus"_s].toInt(), 2);
        QCOMPARE(stored[u"size"_s].toInt(), 3);
        QCOMPARE(
            stored[u"checkSum"_s].toString(),
            u"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"_s);
        QCOMPARE(
            stored[u"lastModifiedDateTime"_s].toString(),
            disk.lastModified().toUTC().toString(Qt::ISODateWithMs));
        const QDateTime birth = disk.birthTime();
        QCOMPARE(
            stored[u"createdDateTime"_s].toString(),
            (birth.isValid() ? birth : disk.metadataChangeTime())
                .toUTC()
                .toString(Qt::ISODateWithMs));
        QCOMPARE(scan()[u"files"_s][u"new"_s].toInt(-1), 0);
    }

    void changedFilesAreStoredAnew()
    {
        scan();
        tool->run(
            {u"file"_s, u"set"_s, u"one/b"_s, u"--status"_s, u"syncing"_s, u"--owner"_s, u"kim"_s});
        const QJsonObject before = file(u"b"_s);
        tool->writeFile(u"one/b"_s, "abc");

        const QJsonObject scanned = scan();

        QCOMPARE(scanned[u"files"_s][u"changed"_s].toInt(), 1);
        const QJsonObject after = file(u"b"_s);
        QCOMPARE(after[u"checkSum"_s], file(u"a/c"_s)[u"checkSum"_s]);
        QCOMPARE(after[u"size"_s].toInt(), 3);
        QCOMPARE(after[u"syncStatus"_s].toInt(), 2);
        QCOMPARE(after[u"ownerId"_s].toString(), u"kim"_s);
        QVERIFY(after[u"lastModifiedDateTime"_s] != before[u"lastModifiedDateTime"_s]);
    }

    void touchedFileKeepsItsStatus()
    {
        scan();
        tool->run({u"file"_s, u"set"_s, u"one/b"_s, u"--status"_s, u"syncing"_s});
        setModified(u"b"_s, QDateTime(QDate(2021, 3, 4), QTime(5, 6, 7), Qt::UTC));

        const QJsonObject scanned = scan();

        QCOMPARE(scanned[u"files"_s][u"changed"_s].toInt(-1), 0);
        QCOMPARE(scanned[u"files"_s][u"refreshed"_s].toInt(), 1);
        QCOMPARE(file(u"b"_s)[u"syncStatus"_s].toInt(), 1);
        QCOMPARE(file(u"b"_s)[u"lastModifiedDateTime"_s].toString(), u"2021-03-04T05:06:07.000Z"_s);
        QCOMPARE(scan()[u"files"_s][u"refreshed"_s].toInt(-1), 0);
    }

    void recordThatCannotBeStoredAgainIsLeftAlone()
    {
        scan();
        QVERIFY(tool->execute(
            u"UPDATE FileConfiguration SET nameValueProperties = '<x><!-- --><a>b</a></x>' WHERE "
            u"name = 'c'"_s));
        tool->writeFile(u"one/a/c"_s, "changed");

        const auto run = tool->json({u"scan"_s});

        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.errors.contains(u"cannot be stored again"), qPrintable(run.errors));
        QCOMPARE(file(u"a/c"_s)[u"size"_s].toInt(), 3);
        QCOMPARE(file(u"a/c"_s)[u"properties"_s][u"a"_s], u"b"_s);
    }

    void hashAlwaysFindsWhatTimesHide()
    {
        const QDateTime time(QDate(2021, 3, 4), QTime(5, 6, 7), Qt::UTC);
        setModified(u"b"_s, time);
        scan();
        tool->writeFile(u"one/b"_s, "BB");
        setModified(u"b"_s, time);

        const QJsonObject byTime = scan();
        const QJsonObject byContent = scan({u"--hash"_s, u"always"_s});

        QCOMPARE(byTime[u"files"_s][u"changed"_s].toInt(-1), 0);
        QCOMPARE(byContent[u"files"_s][u"changed"_s].toInt(), 1);
    }

    void hashNeverReadsNoFile()
    {
        scan({u"--hash"_s, u"never"_s});
        QCOMPARE(file(u"b"_s)[u"checkSum"_s].toString(), QString());
        scan({u"--hash"_s, u"always"_s});
        QVERIFY(!file(u"b"_s)[u"checkSum"_s].toString().isEmpty());
        tool->writeFile(u"one/b"_s, "longer");

        const QJsonObject scanned = scan({u"--hash"_s, u"never"_s});

        QCOMPARE(scanned[u"files"_s][u"changed"_s].toInt(), 1);
        QCOMPARE(file(u"b"_s)[u"size"_s].toInt(), 6);
        // The checksum of the old content would be wrong.
        QCOMPARE(file(u"b"_s)[u"checkSum"_s].toString(), QString());
        QVERIFY(!file(u"a/c"_s)[u"checkSum"_s].toString().isEmpty());
    }

    void checksumsAreAddedLater()
    {
        scan({u"--hash"_s, u"never"_s});

        QCOMPARE(scan()[u"files"_s][u"refreshed"_s].toInt(-1), 0);
        QCOMPARE(scan({u"--hash"_s, u"always"_s})[u"files"_s][u"refreshed"_s].toInt(), 2);
        QCOMPARE(scan({u"--hash"_s, u"always"_s})[u"files"_s][u"refreshed"_s].toInt(-1), 0);
    }

    void goneFilesAreReportedUntilPruned()
    {
        tool->writeFile(u"one/kept"_s, "kept");
        scan();
        QVERIFY(QDir(tool->path(u"one/a"_s)).removeRecursively());
        QVERIFY(QFile::remove(tool->path(u"one/b"_s)));

        const auto reported = tool->json({u"scan"_s});
        const QJsonObject pruned = scan({u"--prune"_s, u"--yes"_s});
        const QJsonObject last = scan();

        QCOMPARE(reported.exitCode, 1);
        QVERIFY(reported.errors.contains(tool->path(u"one/b"_s)));
        QVERIFY(reported.errors.contains(tool->path(u"one/a/c"_s)));
        QCOMPARE(reported.object()[u"files"_s][u"gone"_s].toInt(), 2);
        QCOMPARE(reported.object()[u"gone"_s].toInt(), 1);
        QCOMPARE(pruned[u"files"_s][u"pruned"_s].toInt(), 2);
        QCOMPARE(pruned[u"pruned"_s].toInt(), 1);
        QCOMPARE(last[u"files"_s][u"gone"_s].toInt(-1), 0);
        QCOMPARE(rows(tool->databasePath()).size(), 1);
        QCOMPARE(tool->json({u"folder"_s, u"list"_s, u"--all"_s}).array().size(), 1);
    }

    void pruningRemovesDependantsFromTheDisk()
    {
        scan();
        tool->makeFolder(u"backup"_s);
        tool->writeFile(u"backup/b"_s, "old");
        const QString id = QString::number(file(u"b"_s)[u"id"_s].toInt());
        QCOMPARE(
            tool->run(
                    {u"file"_s, u"add"_s, u"backup/b"_s, u"--type"_s, u"base"_s, u"--parent"_s, id})
                .exitCode,
            0);
        QVERIFY(QFile::remove(tool->path(u"one/b"_s)));

        scan({u"--prune"_s, u"--yes"_s});

        QVERIFY(!QFile::exists(tool->path(u"backup/b"_s)));
        QCOMPARE(tool->json({u"file"_s, u"list"_s, u"--type"_s, u"base"_s}).array().size(), 0);
        QCOMPARE(rows(tool->databasePath()).size(), 1);
    }

    void pruningWantsToBeConfirmed()
    {
        scan();
        QVERIFY(QFile::remove(tool->path(u"one/b"_s)));

        QCOMPARE(tool->run({u"scan"_s, u"--prune"_s}).exitCode, 2);

        QCOMPARE(rows(tool->databasePath()).size(), 2);
    }

    void vanishedRootPrunesNothing()
    {
        scan();
        QVERIFY(QDir(tool->path(u"one"_s)).removeRecursively());

        const QJsonObject scanned = scan({u"--prune"_s, u"--yes"_s}, 1);

        QCOMPARE(scanned[u"roots"_s][0][u"missing"_s].toBool(), true);
        QCOMPARE(scanned[u"files"_s][u"gone"_s].toInt(-1), 0);
        QCOMPARE(rows(tool->databasePath()).size(), 2);
    }

    void linksAndPipesAreSkipped()
    {
        scan();
        QVERIFY(QFile::remove(tool->path(u"one/b"_s)));
        QVERIFY(QFile::link(tool->path(u"one/a/c"_s), tool->path(u"one/b"_s)));
        QCOMPARE(::mkfifo(QFile::encodeName(tool->path(u"one/pipe"_s)).constData(), 0600), 0);

        const QJsonObject scanned = scan({u"--prune"_s, u"--yes"_s});

        QCOMPARE(scanned[u"files"_s][u"skipped"_s].toInt(), 2);
        // A link in its place is not the file.
        QCOMPARE(scanned[u"files"_s][u"pruned"_s].toInt(), 1);
        QCOMPARE(rows(tool->databasePath()).size(), 1);
    }

    void killedScanIsTakenUpAgain_data()
    {
        QTest::addColumn<int>("stored");
        QTest::newRow("before the first batch") << 0;
        QTest::newRow("behind the first batch") << 1;
        QTest::newRow("behind the second batch") << 2500;
    }

    void killedScanIsTakenUpAgain()
    {
        QFETCH(const int, stored);
        makeManyFiles();
        const auto factory = SqliteDatabaseFactory::open(tool->databasePath());
        const auto process = startScan();
        QVERIFY(process->waitForStarted());
        while (rowCount(*factory) < stored)
            QVERIFY(process->state() == QProcess::Running && !process->waitForFinished(1));

        process->kill();
        QVERIFY(process->waitForFinished());

        QCOMPARE(process->exitStatus(), QProcess::CrashExit);
        QVERIFY(rowCount(*factory) < ManyRows);
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
        const QStringList undisturbed = rowsOfUndisturbedScan();
        QCOMPARE(undisturbed.size(), ManyRows);
        QCOMPARE(rows(tool->databasePath()), undisturbed);
    }

    void interruptedScanIsTakenUpAgain()
    {
        makeManyFiles();
        const auto factory = SqliteDatabaseFactory::open(tool->databasePath());
        const auto lock = factory->GetDatabase();
        const auto process = startScan();
        QVERIFY(process->waitForStarted());
        while (rowCount(*factory) < 1)
            QVERIFY(process->state() == QProcess::Running && !process->waitForFinished(1));
        QVERIFY(lock->transaction());

        QCOMPARE(::kill(pid_t(process->processId()), SIGINT), 0);
        QVERIFY(lock->rollback());
        QVERIFY(process->waitForFinished());

        QCOMPARE(process->exitStatus(), QProcess::NormalExit);
        QCOMPARE(process->exitCode(), 130);
        const QJsonObject answer =
            QJsonDocument::fromJson(process->readAllStandardOutput()).object();
        QCOMPARE(answer[u"interrupted"_s].toBool(), true);
        QCOMPARE(answer[u"files"_s][u"new"_s].toInteger(), rowCount(*factory));
        QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
        QCOMPARE(rows(tool->databasePath()), rowsOfUndisturbedScan());
    }

private:
    QJsonObject scan(const QStringList& options = {}, int exitCode = 0) const
    {
        const auto scanned = tool->json(QStringList{u"scan"_s} + options);
        if (scanned.exitCode != exitCode)
            qWarning("%s", qPrintable(scanned.errors));
        return scanned.exitCode == exitCode ? scanned.object() : QJsonObject();
    }
    QJsonObject file(const QString& name) const
    {
        return tool->json({u"file"_s, u"show"_s, tool->path(u"one/"_s + name)}).object();
    }
    void setModified(const QString& name, const QDateTime& time) const
    {
        QFile target(tool->path(u"one/"_s + name));
        QVERIFY(target.open(QIODevice::ReadWrite));
        QVERIFY(target.setFileTime(time, QFileDevice::FileModificationTime));
    }
    static QStringList rows(const QString& databasePath)
    {
        const auto query = SqliteDatabaseFactory::open(databasePath)->CreateQuery();
        query->prepare(
            u"SELECT folderConfigurationId, name, clientPath, serverPath, checkSum, "
            u"createdDateTime,"
            u" lastModifiedDateTime, syncStatus, lastOperationType, size, nameValueProperties,"
            u" lastOperationTime, rootFolderId, syncOption, parentFileId, fileType, ownerId,"
            u" privileges, productConfigurationId, serverFileId, serverFileVersionId, checkSumMD5,"
            u" fileLinks FROM FileConfiguration ORDER BY clientPath"_s);
        query->exec();
        QStringList rows;
        while (query->next()) {
            QStringList row;
            for (int column = 0; column < 23; ++column)
                row += query->value(column).toString();
            rows += row.join(u'|');
        }
        return rows;
    }

    static qlonglong rowCount(SqliteDatabaseFactory& factory)
    {
        const auto query = factory.CreateQuery();
        query->prepare(u"SELECT count(*) FROM FileConfiguration"_s);
        return query->exec() && query->next() ? query->value(0).toLongLong() : -1;
    }

    void makeManyFiles() const
    {
        for (int folder = 0; folder < 120; ++folder) {
            const QString path = u"one/many/%1"_s.arg(folder);
            tool->makeFolder(path);
            for (int number = 0; number < 100; ++number)
                tool->writeFile(path + u'/' + QString::number(number), "content");
        }
    }

    QStringList rowsOfUndisturbedScan() const
    {
        const QString other = tool->path(u"other.db"_s);
        const auto run = [this, &other](const QStringList& arguments) {
            return tool->runPlain(QStringList{u"--database"_s, other} + arguments).exitCode == 0;
        };
        const bool done = run({u"init"_s}) && VelmioctlRunner::execute(InsertProduct, other) &&
                          run(
                              {u"folder"_s, u"add"_s, u"one"_s, u"--server-path"_s, u"/S"_s,
                               u"--product"_s, u"7"_s}) &&
                          run({u"scan"_s});
        return done ? rows(other) : QStringList();
    }

    std::unique_ptr<QProcess> startScan() const
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(tool->environment);
        process->start(
            tool->programPath(), {u"--json"_s, u"--database"_s, tool->databasePath(), u"scan"_s});
        return process;
    }

    std::unique_ptr<VelmioctlRunner> tool;
};

QTEST_GUILESS_MAIN(TestVelmioctlScanFiles)
#include "TestVelmioctlScanFiles.moc"
