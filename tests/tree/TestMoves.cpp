#include <tree/TreeScan.h>

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace sync::config;
using sync::database::SqliteDatabaseFactory;

namespace sync::tree {

namespace {

class Moves : public ScanObserver
{
public:
    void moved(const Move& move) override { list += move.from + u" -> "_s + move.to; }
    void fileMissing(int, const QString& path) override { missing += path; }
    void folderMissing(int, const QString& path) override { missing += path; }

    QStringList list;
    QStringList missing;
};

} // namespace

/// Scans before and after something was moved below two roots, "/.../one" and "/.../two".
class TestMoves : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void aRenamedFileKeepsItsRecord();
    void aRenamedFolderKeepsItsTree();
    void namesAreExchanged();
    void aChainOfNamesIsFollowed();
    void foldersExchangeTheirNames();
    void aFolderMovesBetweenFoldersThatExchangeTheirNames();
    void aFolderMovesIntoANewOneOfItsName();
    void whatWasMovedOutOfAMovedFolderIsFound();
    void theCaseOfANameChanges();
    void aMovedFileThatWasEditedKeepsItsRecord();
    void anotherNameOfAFileGetsItsOwnRecord();
    void oneOfTwoNamesOfAFileChanges();
    void aCopyIsNotAMove();
    void aNumberThatIsUsedAgainIsNotAMove();
    void theRecordOfAPlaceStaysWhereItsFileWasReplaced();
    void filesMoveBetweenRootsOfOneSignIn();
    void nothingMovesToAnotherSignIn();
    void theOtherRootFindsNothingMissing();
    void propertiesVersionsAndLinksStay();
    void generatedFilesAndBaseCopiesStayWithTheirFile();
    void withoutMovesThereAreNewRecords();
    void aDryRunChangesNothing();
    void recordsWithoutIdentityGetOne();
    void withoutATimeOfCreationTheContentDecides();
    void onAnotherDiskTheContentDecides();
    void equalOrTrivialContentDecidesNothing();

private:
    QString path(const QString& name) const { return directory->filePath(name); }
    void write(const QString& name, const QByteArray& content) const;
    void rename(const QString& from, const QString& to) const;
    Moves scan(const FolderConfiguration& root, TreeScan::Options options = {});
    Moves scan() { return scan(one); }
    void identifyAll();
    int fileId(const QString& name) const;
    int folderId(const QString& name) const;
    QVariant value(const QString& sql) const;

    std::unique_ptr<QTemporaryDir> directory;
    std::shared_ptr<SqliteDatabaseFactory> factory;
    std::shared_ptr<FolderConfigManager> folders;
    std::unique_ptr<FileConfigManager> files;
    FolderConfiguration one;
    FolderConfiguration two;
};

void TestMoves::init()
{
    files.reset();
    folders.reset();
    factory.reset();
    directory = std::make_unique<QTemporaryDir>();
    factory = SqliteDatabaseFactory::open(path(u"store.db"_s));
    folders = std::make_shared<FolderConfigManager>(factory, nullptr);
    files = std::make_unique<FileConfigManager>(
        factory, std::make_shared<Sha256FileHash>(), nullptr, folders);
    for (const auto& [root, name] : {std::pair(&one, u"one"_s), std::pair(&two, u"two"_s)}) {
        *root = FolderConfiguration();
        QDir().mkpath(path(name));
        root->setParentId(0);
        root->setAuthenticationId(7);
        root->setClientPath(path(name));
        root->setServerPath(u"/server/"_s + name);
        root->setFolderOption(WithSubfolders);
        QVERIFY(folders->Add(*root));
    }
    write(u"one/a/x"_s, "content of x");
    write(u"one/a/sub/y"_s, "content of y, which is longer");
    write(u"one/b/z"_s, "z");
    scan();
    identifyAll();
}

// Seen again once all are old enough for their times of creation to identify them.
void TestMoves::identifyAll()
{
    QTRY_VERIFY(
        (scan(), value(u"SELECT (SELECT count(*) - count(createdNs) FROM FileOnDisk) +"
                       u" (SELECT count(*) - count(createdNs) FROM FolderOnDisk)"_s) == 0));
}

void TestMoves::write(const QString& name, const QByteArray& content) const
{
    QDir().mkpath(QFileInfo(path(name)).path());
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

void TestMoves::rename(const QString& from, const QString& to) const
{
    QVERIFY(QDir().mkpath(QFileInfo(path(to)).path()));
    QCOMPARE(std::rename(qPrintable(path(from)), qPrintable(path(to))), 0);
}

Moves TestMoves::scan(const FolderConfiguration& root, TreeScan::Options options)
{
    Moves moves;
    TreeScan(TreeStore::of(factory), moves, std::move(options)).run(root, root);
    folders->ClearCaches();
    return moves;
}

int TestMoves::fileId(const QString& name) const
{
    return files->GetFileConfigurationByClientPath(path(name)).getId();
}

int TestMoves::folderId(const QString& name) const
{
    return folders->GetFolderConfigurationByClientPath(path(name)).getId();
}

QVariant TestMoves::value(const QString& sql) const
{
    const auto query = factory->CreateQuery();
    query->prepare(sql);
    return query->exec() && query->next() ? query->value(0) : QVariant(u"failed"_s);
}

void TestMoves::aRenamedFileKeepsItsRecord()
{
    const int id = fileId(u"one/a/x"_s);
    rename(u"one/a/x"_s, u"one/b/new"_s);

    const Moves moves = scan();

    QCOMPARE(moves.list, QStringList{path(u"one/a/x"_s) + u" -> "_s + path(u"one/b/new"_s)});
    QCOMPARE(moves.missing, QStringList());
    QCOMPARE(fileId(u"one/b/new"_s), id);
    const auto file = files->GetFileConfigurationById(id);
    QCOMPARE(file.getName(), u"new"_s);
    QCOMPARE(file.getServerPath(), u"/server/one/b/new"_s);
    QCOMPARE(file.getFolderConfigurationId(), folderId(u"one/b"_s));
    QCOMPARE(files->GetAll().size(), 3);
}

void TestMoves::aRenamedFolderKeepsItsTree()
{
    const QList<int> ids{
        folderId(u"one/a"_s), folderId(u"one/a/sub"_s), fileId(u"one/a/x"_s),
        fileId(u"one/a/sub/y"_s)};
    rename(u"one/a"_s, u"one/b/deep/er/c"_s);

    const Moves moves = scan();

    QCOMPARE(moves.list, QStringList{path(u"one/a"_s) + u" -> "_s + path(u"one/b/deep/er/c"_s)});
    QCOMPARE(moves.missing, QStringList());
    const QList<int> found{
        folderId(u"one/b/deep/er/c"_s), folderId(u"one/b/deep/er/c/sub"_s),
        fileId(u"one/b/deep/er/c/x"_s), fileId(u"one/b/deep/er/c/sub/y"_s)};
    QCOMPARE(found, ids);
    const auto folder = folders->GetFolderConfigurationById(ids[0]);
    QCOMPARE(folder.getName(), u"c"_s);
    QCOMPARE(folder.getParentId(), folderId(u"one/b/deep/er"_s));
    QCOMPARE(folder.getServerPath(), u"/server/one/b/deep/er/c"_s);
    QCOMPARE(folder.getRemoteLongKey(), u"/server/one/b/deep/er/c"_s);
    QCOMPARE(
        files->GetFileConfigurationById(ids[3]).getServerPath(),
        u"/server/one/b/deep/er/c/sub/y"_s);
}

void TestMoves::namesAreExchanged()
{
    const int x = fileId(u"one/a/x"_s);
    const int z = fileId(u"one/b/z"_s);
    rename(u"one/a/x"_s, u"one/t"_s);
    rename(u"one/b/z"_s, u"one/a/x"_s);
    rename(u"one/t"_s, u"one/b/z"_s);

    QCOMPARE(scan().list.size(), 2);

    QCOMPARE(fileId(u"one/b/z"_s), x);
    QCOMPARE(fileId(u"one/a/x"_s), z);
    QCOMPARE(files->GetAll().size(), 3);
}

void TestMoves::aChainOfNamesIsFollowed()
{
    const int x = fileId(u"one/a/x"_s);
    const int z = fileId(u"one/b/z"_s);
    rename(u"one/b/z"_s, u"one/c"_s);
    rename(u"one/a/x"_s, u"one/b/z"_s);

    QCOMPARE(scan().list.size(), 2);

    QCOMPARE(fileId(u"one/c"_s), z);
    QCOMPARE(fileId(u"one/b/z"_s), x);
}

void TestMoves::foldersExchangeTheirNames()
{
    const int a = folderId(u"one/a"_s);
    const int b = folderId(u"one/b"_s);
    const int x = fileId(u"one/a/x"_s);
    rename(u"one/a"_s, u"one/t"_s);
    rename(u"one/b"_s, u"one/a"_s);
    rename(u"one/t"_s, u"one/b"_s);

    QCOMPARE(scan().list.size(), 2);

    QCOMPARE(folderId(u"one/b"_s), a);
    QCOMPARE(folderId(u"one/a"_s), b);
    QCOMPARE(fileId(u"one/b/x"_s), x);
    QCOMPARE(folders->GetAll().size(), 5);
    QCOMPARE(files->GetAll().size(), 3);
}

// It has the path that is recorded for it, in another folder.
void TestMoves::aFolderMovesBetweenFoldersThatExchangeTheirNames()
{
    const int a = folderId(u"one/a"_s);
    const int b = folderId(u"one/b"_s);
    const int sub = folderId(u"one/a/sub"_s);
    rename(u"one/a/sub"_s, u"one/b/sub"_s);
    rename(u"one/a"_s, u"one/t"_s);
    rename(u"one/b"_s, u"one/a"_s);
    rename(u"one/t"_s, u"one/b"_s);

    scan();

    QCOMPARE(folderId(u"one/b"_s), a);
    QCOMPARE(folderId(u"one/a"_s), b);
    QCOMPARE(folderId(u"one/a/sub"_s), sub);
    QCOMPARE(folders->GetFolderConfigurationById(sub).getParentId(), b);
}

void TestMoves::aFolderMovesIntoANewOneOfItsName()
{
    const int a = folderId(u"one/a"_s);
    const int y = fileId(u"one/a/sub/y"_s);
    rename(u"one/a"_s, u"one/t"_s);
    rename(u"one/t"_s, u"one/a/a"_s);

    scan();

    QCOMPARE(folderId(u"one/a/a"_s), a);
    QCOMPARE(fileId(u"one/a/a/sub/y"_s), y);
    QVERIFY(folderId(u"one/a"_s) > a);
    QCOMPARE(folders->GetFolderConfigurationById(a).getParentId(), folderId(u"one/a"_s));
}

void TestMoves::whatWasMovedOutOfAMovedFolderIsFound()
{
    const int sub = folderId(u"one/a/sub"_s);
    const int a = folderId(u"one/a"_s);
    const int x = fileId(u"one/a/x"_s);
    rename(u"one/a/sub"_s, u"one/b/sub2"_s);
    rename(u"one/a/x"_s, u"one/b/sub2/x"_s);
    rename(u"one/a"_s, u"one/c"_s);

    const Moves moves = scan();

    QCOMPARE(moves.missing.join(u", "_s), QString());
    QCOMPARE(folderId(u"one/b/sub2"_s), sub);
    QCOMPARE(fileId(u"one/b/sub2/x"_s), x);
    QCOMPARE(folderId(u"one/c"_s), a);
}

void TestMoves::theCaseOfANameChanges()
{
    const int a = folderId(u"one/a"_s);
    const int x = fileId(u"one/a/x"_s);
    rename(u"one/a/x"_s, u"one/a/X"_s);
    rename(u"one/a"_s, u"one/A"_s);

    scan();

    QCOMPARE(folderId(u"one/A"_s), a);
    QCOMPARE(fileId(u"one/A/X"_s), x);
}

void TestMoves::aMovedFileThatWasEditedKeepsItsRecord()
{
    const int x = fileId(u"one/a/x"_s);
    rename(u"one/a/x"_s, u"one/b/x"_s);
    write(u"one/b/x"_s, "something else");

    QCOMPARE(scan().list.size(), 1);

    QCOMPARE(fileId(u"one/b/x"_s), x);
    const auto file = files->GetFileConfigurationById(x);
    QCOMPARE(file.getSize(), 14);
    QCOMPARE(file.getCheckSum(), Sha256FileHash().GetFileHash(path(u"one/b/x"_s)));
}

void TestMoves::anotherNameOfAFileGetsItsOwnRecord()
{
    const int x = fileId(u"one/a/x"_s);
    QCOMPARE(link(qPrintable(path(u"one/a/x"_s)), qPrintable(path(u"one/b/x2"_s))), 0);

    QCOMPARE(scan().list, QStringList());

    QCOMPARE(fileId(u"one/a/x"_s), x);
    QVERIFY(fileId(u"one/b/x2"_s) > x);
}

void TestMoves::oneOfTwoNamesOfAFileChanges()
{
    QCOMPARE(link(qPrintable(path(u"one/a/x"_s)), qPrintable(path(u"one/b/x2"_s))), 0);
    scan();
    const int x = fileId(u"one/a/x"_s);
    const int x2 = fileId(u"one/b/x2"_s);
    rename(u"one/b/x2"_s, u"one/b/x3"_s);

    QCOMPARE(scan().list.size(), 1);

    QCOMPARE(fileId(u"one/a/x"_s), x);
    QCOMPARE(fileId(u"one/b/x3"_s), x2);
}

void TestMoves::aCopyIsNotAMove()
{
    const int x = fileId(u"one/a/x"_s);
    QVERIFY(QFile::copy(path(u"one/a/x"_s), path(u"one/b/copy"_s)));

    QCOMPARE(scan().list, QStringList());

    QCOMPARE(fileId(u"one/a/x"_s), x);
    QVERIFY(fileId(u"one/b/copy"_s) > x);
}

void TestMoves::aNumberThatIsUsedAgainIsNotAMove()
{
    const int x = fileId(u"one/a/x"_s);
    QVERIFY(QFile::remove(path(u"one/a/x"_s)));
    write(u"one/b/new"_s, "another one");
    // Whether or not the file system has used the number again.
    const auto state = readFileState(path(u"one/b/new"_s));
    const auto query = factory->CreateQuery();
    query->prepare(u"UPDATE FileOnDisk SET fileId = :fileId WHERE fileConfigurationId = :id"_s);
    query->bindValue(u":fileId"_s, qint64(state->inode));
    query->bindValue(u":id"_s, x);
    QVERIFY(query->exec());

    const Moves moves = scan();

    QCOMPARE(moves.list, QStringList());
    QCOMPARE(moves.missing, QStringList{path(u"one/a/x"_s)});
    QVERIFY(fileId(u"one/b/new"_s) > x);
}

void TestMoves::theRecordOfAPlaceStaysWhereItsFileWasReplaced()
{
    const int x = fileId(u"one/a/x"_s);
    rename(u"one/b/z"_s, u"one/a/x"_s);

    const Moves moves = scan();

    QCOMPARE(moves.list, QStringList());
    QCOMPARE(moves.missing, QStringList{path(u"one/b/z"_s)});
    QCOMPARE(fileId(u"one/a/x"_s), x);
    QCOMPARE(files->GetFileConfigurationById(x).getSize(), 1);
}

void TestMoves::filesMoveBetweenRootsOfOneSignIn()
{
    const int a = folderId(u"one/a"_s);
    const int y = fileId(u"one/a/sub/y"_s);
    const int z = fileId(u"one/b/z"_s);
    rename(u"one/a"_s, u"two/c"_s);
    rename(u"one/b/z"_s, u"two/d/z"_s);

    QCOMPARE(scan(two).list.size(), 2);

    QCOMPARE(folderId(u"two/c"_s), a);
    QCOMPARE(fileId(u"two/c/sub/y"_s), y);
    QCOMPARE(fileId(u"two/d/z"_s), z);
    QCOMPARE(folders->GetFolderConfigurationById(a).getRootId(), two.getId());
    QCOMPARE(files->GetFileConfigurationById(y).getRootFolderId(), two.getId());
    QCOMPARE(files->GetFileConfigurationById(y).getServerPath(), u"/server/two/c/sub/y"_s);
    QCOMPARE(files->GetFileConfigurationById(z).getRootFolderId(), two.getId());
}

void TestMoves::nothingMovesToAnotherSignIn()
{
    const int z = fileId(u"one/b/z"_s);
    two.setAuthenticationId(8);
    QVERIFY(folders->Update(two));
    rename(u"one/b/z"_s, u"two/z"_s);

    QCOMPARE(scan(two).list, QStringList());

    QVERIFY(fileId(u"two/z"_s) > z);
    QCOMPARE(files->GetFileConfigurationById(z).getRootFolderId(), one.getId());
}

void TestMoves::theOtherRootFindsNothingMissing()
{
    rename(u"one/a"_s, u"two/c"_s);
    scan(two);

    QCOMPARE(scan(one).missing, QStringList());
}

void TestMoves::propertiesVersionsAndLinksStay()
{
    auto file = files->GetFileConfigurationById(fileId(u"one/a/x"_s));
    file.setServerFileId(u"server id"_s);
    file.setServerFileVersionId(u"version"_s);
    file.setNameValueProperties({{u"key"_s, u"value"_s}});
    FileLink link;
    link.Path = u"sub/y"_s;
    file.setFileLinks({link});
    file.setSyncStatus(FileSyncing);
    QVERIFY(files->Update(file));
    auto linking = files->GetFileConfigurationById(fileId(u"one/b/z"_s));
    FileLink absolute;
    absolute.Path = path(u"one/a/sub/y"_s);
    linking.setFileLinks({absolute});
    QVERIFY(files->Update(linking));
    rename(u"one/a/x"_s, u"one/b/x"_s);
    rename(u"one/a"_s, u"one/c"_s);

    scan();

    const auto moved = files->GetFileConfigurationById(file.getId());
    QCOMPARE(moved.getClientPath(), path(u"one/b/x"_s));
    QCOMPARE(moved.getServerFileId(), u"server id"_s);
    QCOMPARE(moved.getServerFileVersionId(), u"version"_s);
    QCOMPARE(moved.getNameValueProperties(), file.getNameValueProperties());
    QCOMPARE(moved.getSyncStatus(), FileSyncing);
    QCOMPARE(moved.getFileLinks().value(0).Path, u"../c/sub/y"_s);
    QCOMPARE(
        files->GetFileConfigurationById(linking.getId()).getFileLinks().value(0).Path,
        path(u"one/c/sub/y"_s));
}

void TestMoves::generatedFilesAndBaseCopiesStayWithTheirFile()
{
    const int y = fileId(u"one/a/sub/y"_s);
    FileConfiguration preview;
    preview.setFileType(GeneratedFile);
    preview.setParentFileId(y);
    preview.setFolderConfigurationId(folderId(u"one/a/sub"_s));
    preview.setRootFolderId(one.getId());
    preview.setClientPath(path(u"one/a/sub/.y.png"_s));
    QVERIFY(files->Add(preview));
    FileConfiguration base = preview;
    base.setFileType(BaseFile);
    base.setClientPath(u"/cache/y.base"_s);
    QVERIFY(files->Add(base));
    rename(u"one/a"_s, u"two/c"_s);

    scan(two);

    const auto previews = files->GetGeneratedFileConfigurationsByParentFileId(y);
    QCOMPARE(previews.size(), 1);
    QCOMPARE(previews[0].getClientPath(), path(u"two/c/sub/.y.png"_s));
    QCOMPARE(previews[0].getRootFolderId(), two.getId());
    const auto copy = files->GetBaseFileConfigurationByParentFileId(y);
    QCOMPARE(copy.getClientPath(), u"/cache/y.base"_s);
    QCOMPARE(copy.getRootFolderId(), two.getId());
}

void TestMoves::withoutMovesThereAreNewRecords()
{
    const int x = fileId(u"one/a/x"_s);
    rename(u"one/a/x"_s, u"one/a/new"_s);

    const Moves moves = scan(one, {.moves = false});

    QCOMPARE(moves.list, QStringList());
    QCOMPARE(moves.missing, QStringList{path(u"one/a/x"_s)});
    QVERIFY(fileId(u"one/a/new"_s) > x);
}

void TestMoves::aDryRunChangesNothing()
{
    const int x = fileId(u"one/a/x"_s);
    rename(u"one/a"_s, u"one/c"_s);

    const Moves moves = scan(one, {.dryRun = true});

    QCOMPARE(moves.list, QStringList{path(u"one/a"_s) + u" -> "_s + path(u"one/c"_s)});
    QCOMPARE(moves.missing, QStringList());
    QCOMPARE(fileId(u"one/a/x"_s), x);
}

void TestMoves::recordsWithoutIdentityGetOne()
{
    const int x = fileId(u"one/a/x"_s);
    const int a = folderId(u"one/a"_s);
    for (const auto& table : {u"FileOnDisk"_s, u"FolderOnDisk"_s}) {
        const auto query = factory->CreateQuery();
        query->prepare(u"DELETE FROM "_s + table);
        QVERIFY(query->exec());
    }
    scan();
    QCOMPARE(value(u"SELECT count(*) FROM FileOnDisk"_s).toInt(), 3);
    QCOMPARE(value(u"SELECT count(*) FROM FolderOnDisk"_s).toInt(), 3);
    rename(u"one/a/x"_s, u"one/a/new"_s);
    rename(u"one/a"_s, u"one/c"_s);

    scan();

    QCOMPARE(fileId(u"one/c/new"_s), x);
    QCOMPARE(folderId(u"one/c"_s), a);
}

void TestMoves::withoutATimeOfCreationTheContentDecides()
{
    const int x = fileId(u"one/a/x"_s);
    const int y = fileId(u"one/a/sub/y"_s);
    const int z = fileId(u"one/b/z"_s);
    const int sub = folderId(u"one/a/sub"_s);
    for (const auto& table : {u"FileOnDisk"_s, u"FolderOnDisk"_s}) {
        const auto query = factory->CreateQuery();
        query->prepare(u"UPDATE %1 SET createdNs = NULL"_s.arg(table));
        QVERIFY(query->exec());
    }
    rename(u"one/a/x"_s, u"one/x2"_s);
    rename(u"one/a/sub"_s, u"one/sub2"_s);
    rename(u"one/b/z"_s, u"one/z2"_s);
    write(u"one/z2"_s, "y");

    QCOMPARE(scan().list.size(), 2);

    QCOMPARE(fileId(u"one/x2"_s), x);
    QCOMPARE(folderId(u"one/sub2"_s), sub);
    QCOMPARE(fileId(u"one/sub2/y"_s), y);
    QVERIFY(fileId(u"one/z2"_s) > z);
}

void TestMoves::onAnotherDiskTheContentDecides()
{
    write(u"one/b/long"_s, QByteArray(200, 'x'));
    scan();
    const int id = fileId(u"one/b/long"_s);
    for (const auto& table : {u"FileOnDisk"_s, u"FolderOnDisk"_s}) {
        const auto query = factory->CreateQuery();
        query->prepare(u"DELETE FROM "_s + table);
        QVERIFY(query->exec());
    }
    rename(u"one/b"_s, u"one/c"_s);

    QCOMPARE(scan().list, QStringList{path(u"one/b/long"_s) + u" -> "_s + path(u"one/c/long"_s)});

    QCOMPARE(fileId(u"one/c/long"_s), id);
    QCOMPARE(files->GetFileConfigurationById(id).getFolderConfigurationId(), folderId(u"one/c"_s));
}

void TestMoves::equalOrTrivialContentDecidesNothing()
{
    write(u"one/b/1"_s, QByteArray(200, 'x'));
    write(u"one/b/2"_s, QByteArray(200, 'x'));
    write(u"one/b/3"_s, QByteArray(200, 'y'));
    write(u"one/b/4"_s, QByteArray(200, 'z'));
    scan();
    identifyAll();
    // All on the disk are other files now.
    for (const auto& name : {u"1"_s, u"2"_s, u"4"_s, u"z"_s}) {
        QVERIFY(QFile::copy(path(u"one/b/"_s + name), path(u"one/copy of "_s + name)));
        if (name != u"2")
            QVERIFY(QFile::remove(path(u"one/b/"_s + name)));
    }
    // The content of 3 is in two new files.
    QVERIFY(QFile::copy(path(u"one/b/3"_s), path(u"one/first"_s)));
    QVERIFY(QFile::copy(path(u"one/b/3"_s), path(u"one/second"_s)));
    QVERIFY(QFile::remove(path(u"one/b/3"_s)));

    const Moves moves = scan();

    QCOMPARE(moves.list, QStringList{path(u"one/b/4"_s) + u" -> "_s + path(u"one/copy of 4"_s)});
    QCOMPARE(moves.missing.size(), 3);
}

} // namespace sync::tree

QTEST_GUILESS_MAIN(sync::tree::TestMoves)
#include "TestMoves.moc"
