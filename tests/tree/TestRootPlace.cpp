#include <tree/RootPlace.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>
#include <tree/TreeScan.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using sync::config::FolderConfigManager;
using sync::config::FolderConfiguration;
using sync::database::SqliteDatabaseFactory;

namespace sync::tree {

/// Runs over a scanned root with the files "a", "b" and "c".
class TestRootPlace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aScannedRootIsPresentAndHasAMark();
    void anEmptyMountPointIsToldApart();
    void anotherFolderIsToldApart();
    void anotherDiskIsToldApart();
    void aRestoredOlderCopyIsToldApart();
    void anExactCopyIsAccepted();
    void onlyTheMarkerCountsWhereThereIsOne();
    void aPausedRootWaits();

private:
    QString path(const QString& name) const { return directory->filePath(name); }
    void write(const QString& name, const QByteArray& content, int secondsAgo) const;
    RootPlace place() const { return {TreeStore::of(factory), root}; }
    void run(const QString& sql) const;
    void copyRoot(int secondsAgo) const;

    std::unique_ptr<QTemporaryDir> directory;
    std::shared_ptr<SqliteDatabaseFactory> factory;
    FolderConfiguration root;
};

void TestRootPlace::init()
{
    factory.reset();
    directory = std::make_unique<QTemporaryDir>();
    factory = SqliteDatabaseFactory::open(path(u"store.db"_s));
    for (const auto& name : {u"a"_s, u"b"_s, u"c"_s})
        write(u"root/"_s + name, name.toUtf8(), 1000);
    root = FolderConfiguration();
    root.setParentId(0);
    root.setClientPath(path(u"root"_s));
    root.setServerPath(u"/server"_s);
    QVERIFY(FolderConfigManager(factory, nullptr).Add(root));
    ScanObserver observer;
    QVERIFY(TreeScan(TreeStore::of(factory), observer, {}).run(root, root));
}

void TestRootPlace::write(const QString& name, const QByteArray& content, int secondsAgo) const
{
    QDir().mkpath(QFileInfo(path(name)).path());
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.flush();
    const QDateTime time(QDate(2026, 3, 1), QTime(9, 30), Qt::UTC);
    QVERIFY(file.setFileTime(time.addSecs(-secondsAgo), QFile::FileModificationTime));
}

void TestRootPlace::run(const QString& sql) const
{
    const auto query = factory->CreateQuery();
    query->prepare(sql);
    QVERIFY(query->exec());
}

// Puts another directory with the same names in the place of the root.
void TestRootPlace::copyRoot(int secondsAgo) const
{
    QVERIFY(QDir().rename(path(u"root"_s), path(u"away"_s)));
    for (const auto& name : {u"a"_s, u"b"_s, u"c"_s})
        write(u"root/"_s + name, name.toUtf8(), secondsAgo);
}

void TestRootPlace::aScannedRootIsPresentAndHasAMark()
{
    QCOMPARE(place().state(), RootState::Present);
    QCOMPARE(place().mark().size(), 32);
    const QString mark = place().mark();
    place().remember(true);
    QCOMPARE(place().mark(), mark);
}

void TestRootPlace::anEmptyMountPointIsToldApart()
{
    QVERIFY(QDir().rename(path(u"root"_s), path(u"away"_s)));
    QDir().mkpath(path(u"root"_s));

    QCOMPARE(place().state(), RootState::Empty);
}

void TestRootPlace::anotherFolderIsToldApart()
{
    QVERIFY(QDir().rename(path(u"root"_s), path(u"away"_s)));
    write(u"root/other"_s, "other", 0);

    QCOMPARE(place().state(), RootState::Exchanged);
}

void TestRootPlace::anotherDiskIsToldApart()
{
    run(u"UPDATE RootFolderPlace SET volumeId = 'uuid:another'"_s);
    QVERIFY(QDir().rename(path(u"root"_s), path(u"away"_s)));
    write(u"root/other"_s, "other", 0);

    QCOMPARE(place().state(), RootState::OtherDisk);
}

void TestRootPlace::aRestoredOlderCopyIsToldApart()
{
    copyRoot(5000);

    QCOMPARE(place().state(), RootState::Restored);

    ScanObserver observer;
    QVERIFY(!TreeScan(TreeStore::of(factory), observer, {}).run(root, root));
    QVERIFY(TreeScan(TreeStore::of(factory), observer, {.force = true}).run(root, root));
    QCOMPARE(place().state(), RootState::Present);
}

void TestRootPlace::anExactCopyIsAccepted()
{
    copyRoot(1000);

    QCOMPARE(place().state(), RootState::Present);
}

void TestRootPlace::onlyTheMarkerCountsWhereThereIsOne()
{
    QVERIFY(place().writeMarker());
    run(u"UPDATE RootFolderPlace SET volumeId = 'uuid:another', fileId = '1'"_s);
    for (const auto& name : {u"a"_s, u"b"_s, u"c"_s})
        QVERIFY(QFile::remove(path(u"root/"_s + name)));
    QCOMPARE(place().state(), RootState::Present);

    run(u"UPDATE RootFolderMark SET mark = 'of another root'"_s);

    QCOMPARE(place().state(), RootState::Exchanged);
}

void TestRootPlace::aPausedRootWaits()
{
    run(u"UPDATE RootFolderMark SET paused = 1"_s);
    QCOMPARE(place().state(), RootState::Paused);
    place().remember(false);

    QCOMPARE(place().state(), RootState::Present);
}

} // namespace sync::tree

QTEST_GUILESS_MAIN(sync::tree::TestRootPlace)
#include "TestRootPlace.moc"
