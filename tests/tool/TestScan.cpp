#include <velmioctl/Interruption.h>
#include <velmioctl/Progress.h>
#include <velmioctl/Scan.h>
#include <velmioctl/Session.h>
#include <velmioctl/WatchedDatabase.h>

#include <config/FolderConfigManager.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;
using sync::config::FolderConfiguration;

namespace velmioctl {

namespace {

/// A database and a tree of folders with one registered root.
class Place
{
public:
    explicit Place(const QStringList& folders)
    {
        for (const QString& folder : folders)
            QDir(rootPath()).mkpath(folder);
        session.databaseOption = (directory.path() + u"/configuration.db"_s).toStdString();
        session.createDatabase();
        root.setParentId(0);
        root.setClientPath(rootPath());
        root.setServerPath(u"/server"_s);
        root.setFolderOption(sync::config::WithSubfolders);
        session.folders().Add(root);
    }

    QString rootPath() const { return directory.path() + u"/root"_s; }
    long long registered()
    {
        return session.database().number(u"SELECT count(*) FROM FolderConfiguration"_s) - 1;
    }

    QTemporaryDir directory;
    Session session{Output(stdout, stderr, {}, {})};
    FolderConfiguration root;
};

} // namespace

class TestScan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void registersMissingFoldersOnce();
    void stopsBetweenTwoFoldersAndKeepsWhatIsDone();
    void stopBeforeTheBatchRegistersNothing();
    void refusedFolderIsCountedAndTheRestGoesOn();
    void failedBatchIsUndoneAndCounted();
    void signalIsARequestWhileListenedTo();
};

void TestScan::registersMissingFoldersOnce()
{
    Place place({u"a/b"_s, u"c"_s});
    Progress progress(stderr, {});
    Scan scan(place.session, progress, {}, [] { return false; });

    scan.run(place.root);
    const ScanCounts first = scan.counts();
    scan.run(place.root);

    QCOMPARE(first.seen, 3);
    QCOMPARE(first.added, 3);
    QCOMPARE(scan.counts().seen, 3);
    QCOMPARE(scan.counts().added, 0);
    QCOMPARE(place.registered(), 3);
}

void TestScan::stopsBetweenTwoFoldersAndKeepsWhatIsDone()
{
    Place place({u"a"_s, u"b"_s, u"c"_s});
    Progress progress(stderr, {});
    // Asked once before each of 4 folders, the root among them, and once at their end, before the
    // batch, and then before each folder of the batch: stops before the third of them.
    int questions = 0;
    Scan scan(place.session, progress, {}, [&questions] { return ++questions > 8; });

    scan.run(place.root);

    QCOMPARE(scan.counts().added, 1);
    QCOMPARE(place.registered(), 1);
}

void TestScan::stopBeforeTheBatchRegistersNothing()
{
    Place place({u"a"_s, u"b"_s});
    Progress progress(stderr, {});
    int questions = 0;
    Scan scan(place.session, progress, {}, [&questions] { return ++questions > 2; });

    scan.run(place.root);

    QCOMPARE(scan.counts().seen, 1);
    QCOMPARE(scan.counts().added, 0);
    QCOMPARE(place.registered(), 0);
}

void TestScan::refusedFolderIsCountedAndTheRestGoesOn()
{
    Place place({u"a"_s, u"b"_s});
    Progress progress(stderr, {});
    Scan scan(place.session, progress, {}, [] { return false; });
    // Without its row no folder has a parent, and the library refuses each.
    QVERIFY(place.session.folders().Remove(place.root.getId()));

    scan.run(place.root);

    QCOMPARE(scan.counts().failed, 2);
    QCOMPARE(scan.counts().added, 0);
}

void TestScan::failedBatchIsUndoneAndCounted()
{
    Place place({u"a"_s, u"b"_s, u"c"_s});
    const auto trigger = place.session.database().CreateQuery();
    trigger->prepare(u"CREATE TRIGGER refuse BEFORE INSERT ON FolderConfiguration "
                     u"WHEN NEW.name = 'b' BEGIN SELECT RAISE(ABORT, 'refused'); END"_s);
    QVERIFY(trigger->exec());
    Progress progress(stderr, {});
    Scan scan(place.session, progress, {}, [] { return false; });

    QVERIFY_THROWS_EXCEPTION(CommandError, scan.run(place.root));

    QCOMPARE(scan.counts().failed, 3);
    QCOMPARE(scan.counts().added, 0);
    QCOMPARE(place.registered(), 0);
}

void TestScan::signalIsARequestWhileListenedTo()
{
    const Interruption interruption;
    QVERIFY(!interruption.requested());
    QCOMPARE(interruption.exitCode(), ExitCode::Ok);

    std::raise(SIGTERM);

    QVERIFY(interruption.requested());
    QCOMPARE(interruption.exitCode(), ExitCode::Terminated);
}

} // namespace velmioctl

QTEST_GUILESS_MAIN(velmioctl::TestScan)
#include "TestScan.moc"
