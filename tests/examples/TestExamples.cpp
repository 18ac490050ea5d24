#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

struct Run
{
    int exitCode = -1;
    QString output;
    QString errors;
};

Run run(const QString& program, const QStringList& arguments = {}, const QString& directory = {})
{
    QProcess process;
    process.setWorkingDirectory(directory);
    process.start(program, arguments);
    if (!process.waitForFinished(60'000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {
        process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
        QString::fromUtf8(process.readAllStandardError())};
}

} // namespace

/// The examples do what they say, word for word.
class TestExamples : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void embedStoresAServerARootFolderAndAFile();
    void embedTellsWhyADatabaseCannotBeOpened();
    void gettingStartedAnswersAsItsPageSays();
    void doctorFindsNoFaultWithTheStoreOfGettingStarted();
    void hostFactoryKeepsAndUndoesWhatTheHostSays();
    void metaObjectReachesOperationsAndFieldsByTheirNames();
    void scanShowsItsProgressAndCanBeCancelled();

private:
    QString pathOf(const QString& name) const { return directory.filePath(name); }

    QTemporaryDir directory;
};

void TestExamples::embedStoresAServerARootFolderAndAFile()
{
    QFile file(pathOf(u"letter.txt"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("Dear reader");
    file.close();

    const Run embed = run(QStringLiteral(EXAMPLE_EMBED), {pathOf(u"embed.db"_s), file.fileName()});

    QCOMPARE(embed.output, u"server 1 files\nfolder 1 /Documents\nfile 1 11 bytes\n"_s);
    QCOMPARE(embed.errors, QString());
    QCOMPARE(embed.exitCode, 0);
}

void TestExamples::embedTellsWhyADatabaseCannotBeOpened()
{
    const Run embed = run(QStringLiteral(EXAMPLE_EMBED), {u"/"_s, u"letter.txt"_s});

    QCOMPARE(embed.exitCode, 1);
    QVERIFY2(embed.errors.contains(u"is a directory"_s), qPrintable(embed.errors));
}

void TestExamples::gettingStartedAnswersAsItsPageSays()
{
    QFile page(QStringLiteral(VELMIO_SOURCE_DIRECTORY "/docs/getting-started.md"));
    QVERIFY(page.open(QIODevice::ReadOnly));

    const QString program = QStringLiteral(EXAMPLE_GETTING_STARTED);
    Run hello = run(program, {}, directory.path());

    QCOMPARE(hello.errors, QString());
    QVERIFY2(hello.output.startsWith(u"folder 1: "_s), qPrintable(hello.output));
    hello.output.replace(program, u"/home/me/hello/build/hello"_s);
    hello.output.replace(QFileInfo(program).path(), u"/home/me/hello/build"_s);
    QVERIFY(QString::fromUtf8(page.readAll()).contains(u"```\n"_s + hello.output + u"```\n"_s));
}

void TestExamples::doctorFindsNoFaultWithTheStoreOfGettingStarted()
{
    QTemporaryDir place;
    QCOMPARE(run(QStringLiteral(EXAMPLE_GETTING_STARTED), {}, place.path()).exitCode, 0);

    const Run doctor = run(
        QStringLiteral(VELMIOCTL), {u"--database"_s, place.filePath(u"hello.db"_s), u"doctor"_s});

    QVERIFY2(doctor.output.contains(u"0 errors, 0 warnings"_s), qPrintable(doctor.output));
}

void TestExamples::hostFactoryKeepsAndUndoesWhatTheHostSays()
{
    const Run host = run(QStringLiteral(EXAMPLE_HOST_FACTORY));

    QCOMPARE(
        host.output, u"added: 1, id 1\n"
                     "added: 1, servers 2\n"
                     "rolled back, servers 1\n"
                     "servers have changed: 1\n"
                     "added: 0, servers 0, failed: 1\n"_s);
    QCOMPARE(host.errors.count(u"no such table: ServerConfiguration"_s), 2);
    QCOMPARE(host.exitCode, 0);
}

void TestExamples::metaObjectReachesOperationsAndFieldsByTheirNames()
{
    const Run meta = run(QStringLiteral(EXAMPLE_META_OBJECT), {pathOf(u"meta-object.db"_s)});

    QCOMPARE(
        meta.output, u"sync::config::ProductConfigManager\n"
                     "  GetProductConfigurationById(int)\n"
                     "  GetProductConfigurationByServerIdAndConsumerKey(int,QString)\n"
                     "  GetAll()\n"
                     "  Update(sync::config::ProductConfiguration)\n"
                     "  Add(sync::config::ProductConfiguration&)\n"
                     "  Remove(int)\n"
                     "sync::config::ProductConfiguration\n"
                     "  Id = 1\n"
                     "  Name = Sync\n"
                     "  ConsumerKey = key\n"
                     "  ConsumerSecret = \n"
                     "  ServerId = 1\n"
                     "sync::config::FolderConfiguration\n"
                     "  Id = 1\n"
                     "  AuthenticationId = -1\n"
                     "  ProductConfigurationId = -1\n"
                     "  Name = \n"
                     "  RemoteShortKey = \n"
                     "  RemoteLongKey = \n"
                     "  ClientPath = /home/me/Documents\n"
                     "  SyncStatus = FolderSyncing\n"
                     "  ServerPath = /Documents\n"
                     "  LastOperationTime = \n"
                     "  ParentId = 0\n"
                     "  LastSyncTime = \n"
                     "  FolderOption = WithSubfolders\n"
                     "  LastOperationType = NoFolderOperation\n"
                     "  SyncDriveType = DefaultDrive\n"
                     "  RootId = 1\n"
                     "  SyncOption = DefaultSyncOption\n"
                     "  OwnerId = \n"
                     "  Privileges = AllPrivileges\n"
                     "  ServerRoot = \n"
                     "  ServerFolderId = \n"
                     "root folders: 1\n"_s);
    QCOMPARE(meta.errors, QString());
    QCOMPARE(meta.exitCode, 0);
}

void TestExamples::scanShowsItsProgressAndCanBeCancelled()
{
    const QString root = pathOf(u"tree"_s);
    QVERIFY(QDir().mkpath(root));
    for (const QString& name : {u"/a"_s, u"/b"_s, u"/c"_s}) {
        QFile file(root + name);
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    const QString database = pathOf(u"scan.db"_s);

    const Run cancelled = run(QStringLiteral(EXAMPLE_SCAN), {database, root, u"2"_s});
    const Run whole = run(QStringLiteral(EXAMPLE_SCAN), {database, root});

    QCOMPARE(
        cancelled.output,
        u"0 files: %1\n1 files: %1/a\n2 files: %1/b\n0 new, cancelled\n"_s.arg(root));
    QCOMPARE(
        whole.output,
        u"0 files: %1\n1 files: %1/a\n2 files: %1/b\n3 files: %1/c\n3 new\n"_s.arg(root));
    QCOMPARE(whole.errors, QString());
    QCOMPARE(whole.exitCode, 0);
}

QTEST_GUILESS_MAIN(TestExamples)
#include "TestExamples.moc"
