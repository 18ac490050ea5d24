#include "support/Files.h"

#include <journey/VelmioctlRunner.h>
#include <support/RawDatabase.h>

#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;

/// Runs velmioctl on a disk that is full or that becomes full.
class TestVelmioctlFullDisk : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void initReportsAFullDisk();
    void addReportsAFullDiskAndWorksAfterwards();
    void scanContinuesWhenThereIsSpace();
    void doctorStillReadsTheRecords();
    void doctorFindsADiskWithoutInodes();
    void exportReadsTheWholeStore();
    void filesAppearWholeOrNotAtAll_data();
    void filesAppearWholeOrNotAtAll();
    void settingsOfTheUserSurvive_data();
    void settingsOfTheUserSurvive();
    void answersOnAFullDiskAreReported_data();
    void answersOnAFullDiskAreReported();

private:
    VelmioctlRun runWith(qint64 budget, const QStringList& arguments) const;
    QByteArray contentOf(const QString& name) const;
    static void verifyMessage(const VelmioctlRun& run);

    std::unique_ptr<VelmioctlRunner> tool;
};

void TestVelmioctlFullDisk::init()
{
    tool = std::make_unique<VelmioctlRunner>();
}

VelmioctlRun TestVelmioctlFullDisk::runWith(qint64 budget, const QStringList& arguments) const
{
    const QProcessEnvironment before = tool->environment;
    tool->environment.insert(u"LD_PRELOAD"_s, QStringLiteral(VELMIO_FULL_DISK_PRELOAD));
    tool->environment.insert(u"VELMIO_DISK_BUDGET"_s, QString::number(budget));
    const VelmioctlRun run = tool->run(arguments);
    tool->environment = before;
    return run;
}

QByteArray TestVelmioctlFullDisk::contentOf(const QString& name) const
{
    QFile file(tool->path(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestVelmioctlFullDisk::verifyMessage(const VelmioctlRun& run)
{
    QCOMPARE(run.exitCode, 8);
    QVERIFY2(
        run.errors.contains(u"The disk is full: free some space and try again."),
        qPrintable(run.errors));
    QVERIFY(!run.errors.contains(u"damaged"));
}

void TestVelmioctlFullDisk::initReportsAFullDisk()
{
    for (const qint64 budget : {0, 40'000}) {
        verifyMessage(runWith(budget, {u"init"_s}));

        QVERIFY(QDir(QFileInfo(tool->databasePath()).path())
                    .entryList({u"*.db*"_s}, QDir::AllEntries | QDir::Hidden)
                    .isEmpty());
    }
    QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
}

void TestVelmioctlFullDisk::addReportsAFullDiskAndWorksAfterwards()
{
    const QStringList addServer{
        u"server"_s,
        u"add"_s,
        u"--dav-url"_s,
        u"https://dav.example.com"_s,
        u"--web-service-url"_s,
        u"https://web.example.com"_s};
    QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
    QCOMPARE(tool->run(addServer).exitCode, 0);

    verifyMessage(runWith(33'000, addServer)); // enough for the WAL index

    QCOMPARE(tool->run(addServer).exitCode, 0);
    QCOMPARE(tool->json({u"server"_s, u"list"_s}).array().size(), 2);
}

void TestVelmioctlFullDisk::scanContinuesWhenThereIsSpace()
{
    tool->makeFolder(u"root"_s);
    for (int number = 0; number < 300; ++number)
        tool->writeFile(u"root/%1"_s.arg(number), "content");
    QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
    const QStringList addRoot{u"folder"_s, u"add"_s, u"root"_s, u"--server-path"_s, u"/S"_s};
    QCOMPARE(tool->run(addRoot).exitCode, 0);

    verifyMessage(runWith(100'000, {u"scan"_s}));

    QCOMPARE(tool->run({u"scan"_s}).exitCode, 0);
    QCOMPARE(tool->run({u"status"_s}).exitCode, 0);
}

void TestVelmioctlFullDisk::doctorStillReadsTheRecords()
{
    QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
    const QStringList addRoot{u"folder"_s,        u"add"_s, u"gone"_s,       u"--missing-ok"_s,
                              u"--server-path"_s, u"/S"_s,  u"--top-level"_s};
    QCOMPARE(tool->run(addRoot).exitCode, 0);

    const VelmioctlRun run = runWith(0, {u"doctor"_s});

    QCOMPARE(run.exitCode, 1);
    for (const QString& part :
         {u"error store.disk-full: "_s,
          u"Remedy: Free some space on that disk, or delete some files."_s,
          u"warning root.unreachable: "_s})
        QVERIFY2(run.output.contains(part), qPrintable(part + u'\n' + run.output));
}

void TestVelmioctlFullDisk::doctorFindsADiskWithoutInodes()
{
    QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
    constexpr qint64 Enough = 1'000'000'000;
    tool->environment.insert(u"VELMIO_DISK_WITHOUT_INODES"_s, u"1"_s);

    const VelmioctlRun run = runWith(Enough, {u"doctor"_s});

    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.output.contains(u"error store.disk-full: "_s), qPrintable(run.output));
}

void TestVelmioctlFullDisk::exportReadsTheWholeStore()
{
    const QString path = tool->databasePath();
    QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
    const VelmioctlRun whole = runWith(0, {u"export"_s});
    // As after a crash: some changes are only in the WAL.
    sync::test::DatabaseFiles left;
    {
        sync::test::RawDatabase writer(path);
        writer.run(u"DELETE FROM Schedules"_s);
        left = sync::test::DatabaseFiles::read(path);
    }
    left.write(path);

    const VelmioctlRun withWal = runWith(0, {u"export"_s});

    QCOMPARE(whole.exitCode, 0);
    QVERIFY(whole.output.contains(u"\"syncInterval\": 30"_s));
    QCOMPARE(withWal.exitCode, 0);
    QVERIFY(!withWal.output.contains(u"\"syncInterval\": 30"_s));
}

void TestVelmioctlFullDisk::filesAppearWholeOrNotAtAll_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<qint64>("budget");
    QTest::newRow("export, nothing fits") << QStringList{u"export"_s, u"file"_s} << qint64(0);
    QTest::newRow("export, the start fits")
        << QStringList{u"export"_s, u"file"_s} << qint64(70'000);
    QTest::newRow("bundle") << QStringList{u"bundle"_s, u"file"_s} << qint64(0);
    QTest::newRow("backup") << QStringList{u"backup"_s, u"file"_s} << qint64(50'000);
}

void TestVelmioctlFullDisk::filesAppearWholeOrNotAtAll()
{
    QFETCH(QStringList, arguments);
    QFETCH(qint64, budget);
    QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
    QByteArray earlier;
    if (arguments.first() == u"export") {
        QCOMPARE(tool->run(arguments).exitCode, 0);
        earlier = contentOf(u"file"_s);
        QVERIFY(!earlier.isEmpty());
    }
    // More than the tool writes at once, where the start is to fit.
    if (budget > 0) {
        QVERIFY(tool->execute(
            u"INSERT INTO ServerConfiguration (alias, davUrl, webServiceUrl, nameValueProperties, "
            u"binaryDiffEncoder) SELECT printf('%.100000c', 'a'), '', '', '', ''"_s));
    }

    verifyMessage(runWith(budget, arguments));

    QCOMPARE(contentOf(u"file"_s), earlier);
    const QStringList left = QDir(tool->path(u"."_s)).entryList({u"file?*"_s}, QDir::Files);
    QVERIFY2(left.isEmpty(), qPrintable(left.join(u' ')));
}

void TestVelmioctlFullDisk::settingsOfTheUserSurvive_data()
{
    QTest::addColumn<qint64>("budget");
    QTest::newRow("nothing fits") << qint64(0);
    QTest::newRow("only the lock file fits") << qint64(1'000);
}

void TestVelmioctlFullDisk::settingsOfTheUserSurvive()
{
    QFETCH(qint64, budget);
    QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
    const QStringList setDefault{u"server"_s, u"default"_s, u"1"_s};
    QCOMPARE(
        tool->run({u"server"_s, u"add"_s, u"--dav-url"_s, u"https://d.example.com"_s,
                   u"--web-service-url"_s, u"https://w.example.com"_s})
            .exitCode,
        0);
    const QString name = u"home/Corvanta/Corvanta Sync.conf"_s;
    tool->makeFolder(u"home/Corvanta"_s);
    const QByteArray others = "Other=kept\n[Window]\nsize=" + QByteArray(10'000, '3') + '\n';
    const QByteArray settings = "[Velmio]\nDefaultServerConfigurationId=7\n" + others;
    tool->writeFile(name, settings);

    verifyMessage(runWith(budget, setDefault));
    const QByteArray afterFailure = contentOf(name);
    const VelmioctlRun run = tool->run(setDefault);

    QCOMPARE(afterFailure, settings);
    QCOMPARE(run.exitCode, 0);
    QCOMPARE(contentOf(name), "[Velmio]\nDefaultServerConfigurationId=1\n" + others);
}

void TestVelmioctlFullDisk::answersOnAFullDiskAreReported_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("list") << QStringList{u"schedule"_s, u"show"_s};
    QTest::newRow("export") << QStringList{u"export"_s};
    QTest::newRow("help") << QStringList{u"--help"_s};
    QTest::newRow("manual page") << QStringList{u"generate"_s, u"man"_s};
    QTest::newRow("completion") << QStringList{u"generate"_s, u"bash"_s};
}

void TestVelmioctlFullDisk::answersOnAFullDiskAreReported()
{
    QFETCH(QStringList, arguments);
    QCOMPARE(tool->run({u"init"_s}).exitCode, 0);
    QProcess process;
    process.setProcessEnvironment(tool->environment);
    process.setStandardOutputFile(u"/dev/full"_s);

    process.start(
        tool->programPath(), QStringList{u"--database"_s, tool->databasePath()} + arguments);
    QVERIFY(process.waitForFinished());

    verifyMessage({process.exitCode(), {}, QString::fromUtf8(process.readAllStandardError())});
}

QTEST_GUILESS_MAIN(TestVelmioctlFullDisk)
#include "TestVelmioctlFullDisk.moc"
