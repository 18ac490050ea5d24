#include <tree/TreeScan.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

using namespace Qt::StringLiterals;
using sync::config::FolderConfigManager;
using sync::config::FolderConfiguration;
using sync::database::SqliteDatabaseFactory;

namespace sync::tree {

namespace {

/// A store and a root folder with files, by their paths below it.
class Place
{
public:
    explicit Place(const QStringList& files)
        : factory(SqliteDatabaseFactory::open(directory.filePath(u"configuration.db"_s)))
    {
        QDir().mkpath(rootPath());
        for (const QString& name : files)
            writeFile(name);
        root.setParentId(0);
        root.setClientPath(rootPath());
        root.setServerPath(u"/server"_s);
        root.setFolderOption(config::WithSubfolders);
        FolderConfigManager(factory, nullptr).Add(root);
    }

    QString rootPath() const { return directory.filePath(u"root"_s); }
    QString pathOf(const QString& name) const { return rootPath() + u'/' + name; }

    void writeFile(const QString& name) const
    {
        QDir().mkpath(QFileInfo(pathOf(name)).path());
        QFile file(pathOf(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(name.toUtf8());
    }

    /// The recorded paths of files below the root, sorted.
    QStringList recorded() const
    {
        config::FileConfigManager files(
            factory, std::make_shared<config::Sha256FileHash>(), nullptr,
            std::make_shared<FolderConfigManager>(factory, nullptr));
        QStringList paths;
        for (const auto& file : files.GetAll())
            paths += file.getClientPath().mid(rootPath().size() + 1);
        paths.sort();
        return paths;
    }

    void run(const QString& sql) const
    {
        const auto query = factory->CreateQuery();
        query->prepare(sql);
        QVERIFY(query->exec());
    }

    QTemporaryDir directory;
    std::shared_ptr<SqliteDatabaseFactory> factory;
    FolderConfiguration root;
};

/// Notes what a scan reports.
class Notes : public ScanObserver
{
public:
    void progress(const QString&, const ScanCounts&) override
    {
        onlyOneThread = onlyOneThread && QThread::currentThread() == thread;
    }
    void fileMissing(int, const QString& path) override { missing += path; }
    void folderMissing(int, const QString& path) override { missing += path; }
    void problem(const TreeProblem& problem) override
    {
        onlyOneThread = onlyOneThread && QThread::currentThread() == thread;
        problems += problem.kind;
    }

    const QThread* thread = QThread::currentThread();
    bool onlyOneThread = true;
    QStringList missing;
    QList<TreeProblem::Kind> problems;
};

} // namespace

class TestTreeScan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void recordsWhatIsOnTheDisk()
    {
        const Place place({u"a/one"_s, u"a/b/two"_s, u"three"_s});
        Notes notes;
        TreeScan scan(TreeStore::of(place.factory), notes, {});

        QVERIFY(scan.run(place.root, place.root));

        QCOMPARE(scan.counts().folders.added, 2);
        QCOMPARE(scan.counts().files.added, 3);
        QCOMPARE(place.recorded(), (QStringList{u"a/b/two"_s, u"a/one"_s, u"three"_s}));
    }

    void foldersThatGoOnInTheNextBatchKeepTheirFiles()
    {
        constexpr int Files = 4500;
        QStringList names;
        for (int number = 0; number < Files; ++number)
            names += u"deep/folder/%1"_s.arg(number, 4, 10, QChar(u'0'));
        const Place place(names);
        Notes notes;
        TreeScan scan(TreeStore::of(place.factory), notes, {.hash = TreeScan::HashMode::Never});

        QVERIFY(scan.run(place.root, place.root));
        QCOMPARE(scan.counts().files.added, Files);
        QCOMPARE(place.recorded(), names);

        QVERIFY(scan.run(place.root, place.root));
        QCOMPARE(scan.counts().files.added, 0);
        QCOMPARE(scan.counts().files.missing, 0);
    }

    void observerIsCalledOnTheThreadOfTheCaller()
    {
        const Place place({u"a/one"_s});
        // Without its row no folder has a parent, and each is refused: on the thread that writes.
        place.run(u"DELETE FROM FolderConfiguration"_s);
        Notes notes;

        TreeScan(TreeStore::of(place.factory), notes, {}).run(place.root, place.root);

        QCOMPARE(notes.problems, QList{TreeProblem::Kind::RefusedFolder});
        QVERIFY(notes.onlyOneThread);
    }

    void whatIsIgnoredIsLeftOutAndKeepsItsRecords()
    {
        const Place place({u"kept"_s, u"left/in"_s, u"left.tmp"_s});
        Notes notes;
        TreeScan(TreeStore::of(place.factory), notes, {}).run(place.root, place.root);
        place.writeFile(u"left/new"_s);
        place.writeFile(u"new.tmp"_s);
        QVERIFY(QFile::remove(place.pathOf(u"kept"_s)));
        QStringList asked;

        TreeScan scan(
            TreeStore::of(place.factory), notes,
            {.ignored = [&asked](const QString& path, bool isFolder) {
                asked += path;
                return isFolder ? path.endsWith(u"/left"_s) : path.endsWith(u".tmp"_s);
            }});
        QVERIFY(scan.run(place.root, place.root));

        QCOMPARE(scan.counts().files.added, 0);
        QCOMPARE(notes.missing, QStringList(place.pathOf(u"kept"_s)));
        QCOMPARE(place.recorded(), (QStringList{u"kept"_s, u"left.tmp"_s, u"left/in"_s}));
        asked.removeDuplicates();
        asked.sort();
        QCOMPARE(
            asked,
            (QStringList{
                place.pathOf(u"left"_s), place.pathOf(u"left.tmp"_s), place.pathOf(u"new.tmp"_s)}));
    }

    void dryRunCountsAndWritesNothing()
    {
        const Place place({u"a/one"_s, u"two"_s});
        Notes notes;
        TreeScan scan(TreeStore::of(place.factory), notes, {.dryRun = true});

        QVERIFY(scan.run(place.root, place.root));

        QCOMPARE(scan.counts().folders.added, 1);
        QCOMPARE(scan.counts().files.added, 2);
        QCOMPARE(place.recorded(), QStringList());
    }

    void failureWhileWritingIsThrownAndCounted()
    {
        const Place place({u"a/one"_s, u"two"_s});
        place.run(u"CREATE TRIGGER refuse BEFORE INSERT ON FileConfiguration "
                  u"WHEN NEW.name = 'two' BEGIN SELECT RAISE(ABORT, 'refused'); END"_s);
        Notes notes;
        TreeScan scan(TreeStore::of(place.factory), notes, {});

        QVERIFY_THROWS_EXCEPTION(database::DatabaseError, scan.run(place.root, place.root));

        QCOMPARE(scan.counts().folders.failed, 1);
        QCOMPARE(scan.counts().files.failed, 2);
        QCOMPARE(place.recorded(), QStringList());
    }

    void missingRootIsNotCompared()
    {
        const Place place({u"one"_s});
        QVERIFY(QDir(place.rootPath()).removeRecursively());
        Notes notes;
        TreeScan scan(TreeStore::of(place.factory), notes, {});

        QVERIFY(!scan.run(place.root, place.root));

        QCOMPARE(scan.counts().rootState, RootState::Missing);
        QCOMPARE(notes.missing, QStringList());
    }
};

} // namespace sync::tree

QTEST_GUILESS_MAIN(sync::tree::TestTreeScan)
#include "TestTreeScan.moc"
