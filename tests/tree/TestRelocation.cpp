#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <database/SqliteDatabaseFactory.h>
#include <interf/IQSqlQueryWrapper.h>
#include <tree/Relocation.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace sync::config;
using sync::database::SqliteDatabaseFactory;
using sync::tree::Relocation;

namespace {

/// A store, and a folder on the disk for the new place of a root.
struct Place
{
    Place()
    {
        QDir(directory.path()).mkpath(u"new/sub"_s);
        root.setParentId(0);
    }

    int addRoot(const QString& path, const QString& name = u"Work"_s)
    {
        root = FolderConfiguration();
        root.setParentId(0);
        root.setName(name);
        root.setClientPath(path);
        root.setServerPath(u"/Team"_s);
        folders->Add(root);
        return root.getId();
    }

    int addFolder(const QString& path)
    {
        FolderConfiguration folder;
        folder.setParentId(root.getId());
        folder.setRootId(root.getId());
        folder.setName(path.mid(path.lastIndexOf(u'/') + 1));
        folder.setClientPath(path);
        folder.setServerPath(u"/Team/sub"_s);
        folders->Add(folder);
        return folder.getId();
    }

    int addFile(
        const QString& path, const QList<FileLink>& links = {},
        FileConfigurationType type = OrdinaryFile)
    {
        FileConfiguration file;
        file.setFileType(type);
        file.setFolderConfigurationId(root.getId());
        file.setRootFolderId(root.getId());
        file.setParentFileId(type == OrdinaryFile ? -1 : 1);
        file.setClientPath(path);
        file.setServerFileId(u"server-"_s + path);
        file.setFileLinks(links);
        file.setFileLinksDate(QDateTime(QDate(2026, 1, 2), QTime(3, 4), Qt::UTC));
        files.Add(file);
        return file.getId();
    }

    // A file with its record, and its content at the new place.
    void addFound(const QString& name, const QByteArray& stored, const QByteArray& content)
    {
        FileConfiguration file;
        file.setFolderConfigurationId(root.getId());
        file.setRootFolderId(root.getId());
        file.setClientPath(root.getClientPath() + u'/' + name);
        file.setSize(stored.size());
        QFile onDisk(newPath() + u'/' + name);
        QVERIFY(onDisk.open(QIODevice::WriteOnly));
        onDisk.write(stored);
        onDisk.close();
        file.setCheckSum(Sha256FileHash().GetFileHash(onDisk.fileName()));
        file.setLastModifiedDateTime(QFileInfo(onDisk.fileName()).lastModified().toUTC());
        QVERIFY(onDisk.open(QIODevice::WriteOnly));
        onDisk.write(content);
        onDisk.close();
        files.Add(file);
    }

    QString newPath() const { return directory.path() + u"/new"_s; }

    Relocation relocation(const QString& path) const
    {
        return {sync::tree::TreeStore::of(factory), std::make_shared<Sha256FileHash>(), root, path};
    }
    Relocation relocation() const { return relocation(newPath()); }

    QString linkOf(int id)
    {
        return files.GetFileConfigurationById(id).getFileLinks().value(0).Path;
    }
    QString pathOf(int id) { return files.GetFileConfigurationById(id).getClientPath(); }
    QString folderPath(int id) { return folders->GetFolderConfigurationById(id).getClientPath(); }

    QTemporaryDir directory;
    std::shared_ptr<SqliteDatabaseFactory> factory =
        SqliteDatabaseFactory::open(directory.path() + u"/store.db"_s);
    std::shared_ptr<FolderConfigManager> folders =
        std::make_shared<FolderConfigManager>(factory, nullptr);
    FileConfigManager files{factory, std::make_shared<Sha256FileHash>(), nullptr, folders};
    FolderConfiguration root;
};

FileLink linkTo(const QString& path)
{
    FileLink link;
    link.Path = path;
    return link;
}

} // namespace

class TestRelocation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { place = std::make_unique<Place>(); }
    void cleanup() { place.reset(); }

    void everyPathOfTheRootChanges();
    void pathsWithSpecialCharactersChange_data();
    void pathsWithSpecialCharactersChange();
    void aProfileOfWindowsGetsPathsOfThisSystem();
    void otherRootsStay();
    void linksLeadToTheirFiles();
    void theNameThatAUserChoseStays();
    void comparisonCountsWhatDiffers();
    void comparisonReadsSamplesOrAll();
    void comparisonEndsOnRequest();
    void previewCountsWhatApplyChanges();
    void failedRelocationChangesNothing();

private:
    std::unique_ptr<Place> place;
};

void TestRelocation::everyPathOfTheRootChanges()
{
    const int root = place->addRoot(u"/old/Work"_s);
    const int folder = place->addFolder(u"/old/Work/sub"_s);
    const int file = place->addFile(u"/old/Work/sub/a.txt"_s);
    const int generated = place->addFile(u"/old/Work/.a.png"_s, {}, GeneratedFile);
    const int base = place->addFile(u"/old/Work/.a.base"_s, {}, BaseFile);
    const int elsewhere = place->addFile(u"/cache/a.base"_s, {}, BaseFile);

    const auto changes = place->relocation(u"/new/Work 2"_s).apply();

    place->folders->ClearCaches();
    QCOMPARE(place->folderPath(root), u"/new/Work 2"_s);
    QCOMPARE(place->folders->GetFolderConfigurationById(root).getName(), u"Work 2"_s);
    QCOMPARE(place->folders->GetFolderConfigurationById(root).getServerPath(), u"/Team"_s);
    QCOMPARE(place->folderPath(folder), u"/new/Work 2/sub"_s);
    QCOMPARE(place->pathOf(file), u"/new/Work 2/sub/a.txt"_s);
    QCOMPARE(
        place->files.GetFileConfigurationById(file).getServerFileId(),
        u"server-/old/Work/sub/a.txt"_s);
    QCOMPARE(
        place->files.GetGeneratedFileConfigurationById(generated).getClientPath(),
        u"/new/Work 2/.a.png"_s);
    QCOMPARE(
        place->files.GetBaseFileConfigurationById(base).getClientPath(), u"/new/Work 2/.a.base"_s);
    QCOMPARE(
        place->files.GetBaseFileConfigurationById(elsewhere).getClientPath(), u"/cache/a.base"_s);
    QCOMPARE(changes.folders, 2);
    QCOMPARE(changes.files, 1);
    QCOMPARE(changes.generatedFiles, 1);
    QCOMPARE(changes.baseFiles, 1);
}

void TestRelocation::pathsWithSpecialCharactersChange_data()
{
    QTest::addColumn<QString>("from");
    QTest::newRow("outside of the BMP") << u"/old/\U0001F4C1 W"_s;
    QTest::newRow("wildcards") << u"/old/%_*?[a]"_s;
    QTest::newRow("quotes") << u"/old/it's \"so\""_s;
    QTest::newRow("top") << u"/"_s;
}

void TestRelocation::pathsWithSpecialCharactersChange()
{
    QFETCH(const QString, from);
    const int root = place->addRoot(from);
    const QString below = from == u"/"_s ? u"/a.txt"_s : from + u"/a.txt"_s;
    const int file = place->addFile(below);
    const int beside = place->addFile(from + u"b/a.txt"_s);

    place->relocation(u"/new"_s).apply();

    QCOMPARE(place->folderPath(root), u"/new"_s);
    QCOMPARE(place->pathOf(file), u"/new/a.txt"_s);
    QCOMPARE(place->pathOf(beside), from == u"/"_s ? u"/new/b/a.txt"_s : from + u"b/a.txt"_s);
}

void TestRelocation::aProfileOfWindowsGetsPathsOfThisSystem()
{
    const int root = place->addRoot(u"C:\\Users\\kim\\Work"_s);
    const int folder = place->addFolder(u"C:\\Users\\kim\\Work\\sub"_s);
    const int file = place->addFile(
        u"c:/users/kim/Work/sub/a.txt"_s, {linkTo(u"C:\\Users\\kim\\Work\\sub\\b.txt"_s)});
    const int relative = place->addFile(u"C:/Users/kim/Work/sub/b.txt"_s, {linkTo(u"../c.txt"_s)});

    place->relocation(u"/home/kim/Work"_s).apply();

    QCOMPARE(place->folderPath(root), u"/home/kim/Work"_s);
    QCOMPARE(place->folderPath(folder), u"/home/kim/Work/sub"_s);
    QCOMPARE(place->pathOf(file), u"/home/kim/Work/sub/a.txt"_s);
    QCOMPARE(place->linkOf(file), u"/home/kim/Work/sub/b.txt"_s);
    QCOMPARE(place->linkOf(relative), u"../c.txt"_s);
}

void TestRelocation::otherRootsStay()
{
    const int twin = place->addRoot(u"/old/Work"_s);
    const int twinFile = place->addFile(u"/old/Work/a.txt"_s);
    const int other = place->addRoot(u"/old/Work2"_s);
    const int otherFile = place->addFile(u"/old/Work2/a.txt"_s);
    const int moved = place->addRoot(u"/old/Work"_s);

    place->relocation(u"/new"_s).apply();

    QCOMPARE(place->folderPath(moved), u"/new"_s);
    QCOMPARE(place->folderPath(twin), u"/old/Work"_s);
    QCOMPARE(place->pathOf(twinFile), u"/old/Work/a.txt"_s);
    QCOMPARE(place->folderPath(other), u"/old/Work2"_s);
    QCOMPARE(place->pathOf(otherFile), u"/old/Work2/a.txt"_s);
}

void TestRelocation::linksLeadToTheirFiles()
{
    place->addRoot(u"/old/Other"_s);
    const int absoluteIn = place->addFile(u"/old/Other/1"_s, {linkTo(u"/old/Work/x"_s)});
    const int relativeIn = place->addFile(u"/old/Other/2"_s, {linkTo(u"../Work/x"_s)});
    const int between = place->addFile(u"/old/Other/3"_s, {linkTo(u"1"_s)});
    const int preview =
        place->addFile(u"/old/Other/4"_s, {linkTo(u"/old/Work/x"_s)}, GeneratedFile);
    place->addRoot(u"/old/Work"_s);
    const int inside = place->addFile(u"/old/Work/x"_s, {linkTo(u"sub/y"_s)});
    const int absoluteInside = place->addFile(u"/old/Work/y"_s, {linkTo(u"/old/Work/x"_s)});
    const int out = place->addFile(u"/old/Work/sub/z"_s, {linkTo(u"../../Other/1"_s)});

    const auto changes = place->relocation(u"/far/away/Work"_s).apply();

    QCOMPARE(place->linkOf(absoluteIn), u"/far/away/Work/x"_s);
    QCOMPARE(place->linkOf(relativeIn), u"../../far/away/Work/x"_s);
    QCOMPARE(place->linkOf(between), u"1"_s);
    QCOMPARE(
        place->files.GetGeneratedFileConfigurationById(preview).getFileLinks().value(0).Path,
        u"/far/away/Work/x"_s);
    QCOMPARE(place->linkOf(inside), u"sub/y"_s);
    QCOMPARE(place->linkOf(absoluteInside), u"/far/away/Work/x"_s);
    QCOMPARE(place->linkOf(out), u"../../../../old/Other/1"_s);
    QCOMPARE(changes.links, 5);
}

void TestRelocation::theNameThatAUserChoseStays()
{
    const int root = place->addRoot(u"/old/Work"_s, u"My files"_s);

    place->relocation(u"/new/Other"_s).apply();

    QCOMPARE(place->folders->GetFolderConfigurationById(root).getName(), u"My files"_s);
}

void TestRelocation::comparisonCountsWhatDiffers()
{
    place->addRoot(u"/old/Work"_s);
    place->addFolder(u"/old/Work/sub"_s);
    place->addFolder(u"/old/Work/none"_s);
    place->addFound(u"same"_s, "same", "same");
    place->addFound(u"longer"_s, "long", "longer");
    place->addFound(u"other"_s, "some", "same");
    place->addFile(u"/old/Work/missing"_s);
    place->addFile(u"/old/Work/sub"_s);

    const auto found = place->relocation().compare(Relocation::Reading::All);

    QVERIFY(found);
    QCOMPARE(found->folders, 2);
    QCOMPARE(found->missingFolders, 1);
    QCOMPARE(found->files, 5);
    QCOMPARE(found->missing, 2);
    QCOMPARE(found->otherSize, 1);
    QCOMPARE(found->read, 2);
    QCOMPARE(found->otherContent, 1);
    QVERIFY(!found->agrees());
}

void TestRelocation::comparisonReadsSamplesOrAll()
{
    place->addRoot(u"/old/Work"_s);
    for (int file = 0; file < 150; ++file)
        place->addFound(QString::number(file), "content", "content");

    const auto samples = place->relocation().compare(Relocation::Reading::Samples);
    const auto all = place->relocation().compare(Relocation::Reading::All);

    QCOMPARE(samples->read, 50);
    QCOMPARE(all->read, 150);
    QVERIFY(samples->agrees() && all->agrees());
}

void TestRelocation::comparisonEndsOnRequest()
{
    place->addRoot(u"/old/Work"_s);
    place->addFile(u"/old/Work/a"_s);

    QVERIFY(
        !place->relocation().compare(Relocation::Reading::All, [](long long) { return false; }));
}

void TestRelocation::previewCountsWhatApplyChanges()
{
    place->addRoot(u"/old/Work"_s);
    place->addFolder(u"/old/Work/sub"_s);
    place->addFile(u"/old/Work/a"_s, {linkTo(u"/old/Work/b"_s)});
    place->addFile(u"/old/Work/b"_s);
    const int rootId = place->root.getId();

    const auto preview = place->relocation(u"/new"_s).preview();

    QCOMPARE(place->folderPath(rootId), u"/old/Work"_s);
    const auto changes = place->relocation(u"/new"_s).apply();
    QCOMPARE(preview.folders, changes.folders);
    QCOMPARE(preview.files, 2);
    QCOMPARE(changes.files, 2);
    QCOMPARE(preview.links, 1);
    QCOMPARE(changes.links, 1);
}

void TestRelocation::failedRelocationChangesNothing()
{
    const int root = place->addRoot(u"/old/Work"_s);
    const int file = place->addFile(u"/old/Work/a"_s, {linkTo(u"/old/Work/a"_s)});
    place->addFile(u"/old/Work/b"_s, {}, BaseFile);
    const auto refuse = place->factory->CreateQuery();
    refuse->prepare(u"CREATE TEMP TRIGGER refuse BEFORE UPDATE ON FolderConfiguration BEGIN"
                    u" SELECT RAISE(FAIL, 'no'); END"_s);
    QVERIFY(refuse->exec());

    QVERIFY_THROWS_EXCEPTION(sync::database::DatabaseError, place->relocation(u"/new"_s).apply());

    QCOMPARE(place->folderPath(root), u"/old/Work"_s);
    QCOMPARE(place->pathOf(file), u"/old/Work/a"_s);
    QCOMPARE(place->linkOf(file), u"/old/Work/a"_s);
}

QTEST_GUILESS_MAIN(TestRelocation)
#include "TestRelocation.moc"
