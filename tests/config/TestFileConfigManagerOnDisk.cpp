#include "RecordFields.h"

#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/Sha256FileHash.h>
#include <interf/IRefreshNativeFileViewer.h>
#include <support/Engines.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace sync::config;

namespace {

const QDate Day(2024, 3, 1);

FileLink makeLink(QString path, QString refId = {})
{
    FileLink link;
    link.Path = std::move(path);
    link.RefId = std::move(refId);
    return link;
}

/// Notes the folders that it has to draw again.
class NotingViewer : public sync::interf::IRefreshNativeFileViewer
{
public:
    void Refresh(QString path) override { refreshed.append(path); }

    QStringList refreshed;
};

QString engine()
{
    QFETCH_GLOBAL(QString, engine);
    return engine;
}

/// A database on the engine of the row, with a root folder that also exists on the disk.
class Store
{
public:
    Store()
        : database(sync::test::openEngine(engine(), directory.filePath(u"database"_s)))
    {
        root.setAuthenticationId(1);
        root.setParentId(0);
        root.setProductConfigurationId(5);
        root.setName(u"root"_s);
        root.setClientPath(directory.filePath(u"root"_s));
        root.setServerPath(u"/server/root"_s);
        if (!QDir().mkpath(root.getClientPath()) || !folders->Add(root))
            qFatal("Cannot make the root folder");
    }

    QString path(const QString& inRoot) const { return root.getClientPath() + u'/' + inRoot; }

    QString makeFile(const QString& absolutePath, const QByteArray& content = "content") const
    {
        QFile file(absolutePath);
        if (!QDir().mkpath(QFileInfo(absolutePath).absolutePath()) ||
            !file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("Cannot make a file");
        return absolutePath;
    }

    FileConfiguration fileIn(
        int folderId, const QString& clientPath, FileConfigurationType type = OrdinaryFile) const
    {
        FileConfiguration file;
        file.setFolderConfigurationId(folderId);
        file.setRootFolderId(root.getId());
        file.setProductConfigurationId(6);
        file.setName(QFileInfo(clientPath).fileName());
        file.setClientPath(clientPath);
        file.setFileType(type);
        return file;
    }

    /// Adds a base copy or a generated file of an ordinary file.
    int addDependant(int parentFileId, const QString& clientPath, FileConfigurationType type)
    {
        FileConfiguration file = fileIn(root.getId(), clientPath, type);
        file.setParentFileId(parentFileId);
        if (!files.Add(file))
            qFatal("Cannot add a dependant");
        return file.getId();
    }

    QTemporaryDir directory;
    std::shared_ptr<sync::interf::factory::IDatabaseFactory> database;
    std::shared_ptr<NotingViewer> viewer = std::make_shared<NotingViewer>();
    std::shared_ptr<FolderConfigManager> folders =
        std::make_shared<FolderConfigManager>(database, nullptr);
    FileConfigManager files{database, std::make_shared<Sha256FileHash>(), viewer, folders};
    FolderConfiguration root;
};

QList<int> idsOf(const QVector<FileConfiguration>& files)
{
    QList<int> ids;
    for (const FileConfiguration& file : files)
        ids.append(file.getId());
    return ids;
}

} // namespace

class TestFileConfigManagerOnDisk : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase_data() { sync::test::addEngineRows(); }

    void everyFieldSurvivesInEveryTable()
    {
        Store store;
        const auto utc = [](int hour) { return QDateTime(Day, QTime(hour, 1, 2, 3), Qt::UTC); };
        for (const auto type : {OrdinaryFile, GeneratedFile, BaseFile}) {
            auto file = sync::test::sampleOf<FileConfiguration>();
            file.setFileType(type);
            file.setClientPath(u"/client/path %1 "_s + QString::number(type));
            file.setLastModifiedDateTime(utc(2));
            file.setLastOperationTime(utc(3));
            file.setFileLinksDate(QDateTime(Day, QTime(4, 0, 4), Qt::UTC));

            QVERIFY(store.files.Add(file));

            const auto stored = store.files.GetAll(type);
            QCOMPARE(idsOf(stored), QList<int>{file.getId()});
            QCOMPARE(
                sync::test::linesOf(stored[0]),
                sync::test::linesOf(file, {{u"SyncStatusChanged"_s, false}, {u"ClientTag"_s, 0}}));
        }
    }

    void addOfAStoredPathUpdatesTheRowOfTheSameFolderOnly()
    {
        Store store;
        FileConfiguration first = store.fileIn(101, u"/a"_s);
        FileConfiguration inOtherFolder = store.fileIn(102, u"/a"_s);
        FileConfiguration again = store.fileIn(101, u"/a"_s);
        again.setName(u"again"_s);

        QVERIFY(store.files.Add(first));
        QVERIFY(store.files.Add(inOtherFolder));
        QVERIFY(store.files.Add(again));

        QCOMPARE(again.getId(), first.getId());
        QVERIFY(inOtherFolder.getId() != first.getId());
        const auto stored = store.files.GetAll();
        QCOMPARE(idsOf(stored), (QList<int>{first.getId(), inOtherFolder.getId()}));
        QCOMPARE(stored[0].getName(), u"again"_s);
        QCOMPARE(stored[1].getName(), u"a"_s);
    }

    void aGeneratedRecordOfAStoredPathUpdatesItsOwnTableUnderThatId()
    {
        Store store;
        FileConfiguration generated = store.fileIn(101, u"/g"_s, GeneratedFile);
        QVERIFY(store.files.Add(generated));
        FileConfiguration ordinary = store.fileIn(101, u"/a"_s);
        QVERIFY(store.files.Add(ordinary));
        QCOMPARE(ordinary.getId(), generated.getId());

        FileConfiguration namesake = store.fileIn(101, u"/a"_s, GeneratedFile);
        namesake.setName(u"namesake"_s);
        QVERIFY(store.files.Add(namesake));

        QCOMPARE(namesake.getId(), ordinary.getId());
        QCOMPARE(store.files.GetFileConfigurationById(ordinary.getId()).getName(), u"a"_s);
        QCOMPARE(
            store.files.GetGeneratedFileConfigurationById(generated.getId()).getName(),
            u"namesake"_s);
        QCOMPARE(store.files.GetAll(GeneratedFile).size(), 1);
    }

    void pathsCompareExactly()
    {
        Store store;
        FileConfiguration file = store.fileIn(101, u"/a/B %1"_s);
        QVERIFY(store.files.Add(file));

        QCOMPARE(store.files.GetFileConfigurationByClientPath(u"/a/B %1"_s).getId(), file.getId());
        QCOMPARE(store.files.GetFileConfigurationByClientPath(u"/a/b %1"_s).getId(), -1);
        QCOMPARE(store.files.GetFileConfigurationByClientPath(u"/a/B %1/"_s).getId(), -1);
    }

    void anUnknownTypeReadsAsAnEmptyList()
    {
        Store store;
        FileConfiguration file = store.fileIn(101, u"/a"_s);
        QVERIFY(store.files.Add(file));

        const auto unknown = static_cast<FileConfigurationType>(3);
        QVERIFY(store.files.GetAll(unknown).isEmpty());
        QVERIFY(
            store.files.GetFileConfigurationsByRootFolderId(store.root.getId(), unknown).isEmpty());
    }

    void listsComeInTheirOrder()
    {
        Store store;
        FileConfiguration second = store.fileIn(101, u"/b"_s);
        FileConfiguration first = store.fileIn(101, u"/a"_s);
        FileConfiguration elsewhere = store.fileIn(102, u"/0"_s);
        QVERIFY(store.files.Add(second) && store.files.Add(first) && store.files.Add(elsewhere));

        QCOMPARE(
            idsOf(store.files.GetFileConfigurationsByFolderId(101, sync::interf::OrderByName)),
            (QList<int>{first.getId(), second.getId()}));
        QCOMPARE(
            idsOf(store.files.GetFileConfigurationsByRootFolderId(
                store.root.getId(), sync::interf::OrderByClientPathDesc)),
            (QList<int>{second.getId(), first.getId(), elsewhere.getId()}));
    }

    void aFileOfNoRootIsFound()
    {
        Store store;
        FileConfiguration kept = store.fileIn(101, u"/a"_s);
        FileConfiguration lost = store.fileIn(101, u"/b"_s);
        lost.setRootFolderId(4711);
        QVERIFY(store.files.Add(kept) && store.files.Add(lost));

        QCOMPARE(
            idsOf(store.files.GetFileConfigurationsOfNonExistingRootFolders()),
            QList<int>{lost.getId()});
    }

    void theFileOfASignInIsTheOneWhoseFolderHasIt()
    {
        Store store;
        FolderConfiguration other = store.root;
        other.setAuthenticationId(2);
        other.setRootId(-1);
        QVERIFY(store.folders->Add(other));
        FileConfiguration first = store.fileIn(store.root.getId(), u"/a"_s);
        FileConfiguration second = store.fileIn(other.getId(), u"/a"_s);
        QVERIFY(store.files.Add(first) && store.files.Add(second));

        const auto find = [&store](int signIn) {
            return store.files.GetFileConfigurationByClientPathAndAuthenticationId(u"/a"_s, signIn)
                .getId();
        };
        QCOMPARE(find(1), first.getId());
        QCOMPARE(find(2), second.getId());
        QCOMPARE(find(3), -1);
    }

    void linkedFilesInsideTheRootAreRegisteredWithTheirFolders()
    {
        Store store;
        store.makeFile(store.path(u"deep/down/linked.txt"_s));
        store.makeFile(store.directory.filePath(u"outside.txt"_s));
        FileConfiguration file =
            store.fileIn(store.root.getId(), store.makeFile(store.path(u"main.txt"_s)));
        file.setFileLinks(
            {makeLink(u"deep/down/linked.txt"_s), makeLink(u"../outside.txt"_s),
             makeLink(u"missing.txt"_s)});

        QVERIFY(store.files.Add(file));

        const FileConfiguration linked =
            store.files.GetFileConfigurationByClientPath(store.path(u"deep/down/linked.txt"_s));
        const FolderConfiguration folder =
            store.folders->GetFolderConfigurationByClientPath(store.path(u"deep/down"_s));
        QVERIFY(folder.getId() != -1);
        QCOMPARE(linked.getFolderConfigurationId(), folder.getId());
        QCOMPARE(linked.getName(), u"linked.txt"_s);
        QCOMPARE(linked.getServerPath(), u"/server/root/deep/down/linked.txt"_s);
        QCOMPARE(int(linked.getSyncStatus()), 3);
        QCOMPARE(linked.getRootFolderId(), store.root.getId());
        QCOMPARE(linked.getProductConfigurationId(), 6);
        QCOMPARE(linked.getFileType(), OrdinaryFile);
        QCOMPARE(store.viewer->refreshed, QStringList{store.path(u"deep/down"_s)});
        QCOMPARE(file.getFileLinks()[0].FileId, linked.getId());
        QCOMPARE(file.getFileLinks()[1].FileId, -1);
        QCOMPARE(file.getFileLinks()[2].FileId, -1);
        QCOMPARE(store.files.GetAll().size(), 2);
        const auto stored = store.files.GetFileConfigurationById(file.getId());
        QCOMPARE(stored.getFileLinks().size(), 3);
        QCOMPARE(stored.getFileLinks()[0].FileId, linked.getId());
    }

    void linkedFilesThatAreStoredAreFoundAndNotAddedAgain()
    {
        Store store;
        FileConfiguration linked =
            store.fileIn(store.root.getId(), store.makeFile(store.path(u"linked.txt"_s)));
        linked.setServerFileId(u"s-1"_s);
        QVERIFY(store.files.Add(linked));
        FileConfiguration file =
            store.fileIn(store.root.getId(), store.makeFile(store.path(u"main.txt"_s)));
        file.setFileLinks({makeLink(u"./linked.txt"_s)});

        QVERIFY(store.files.Add(file));

        QCOMPARE(file.getFileLinks()[0].FileId, linked.getId());
        QCOMPARE(file.getFileLinks()[0].ServerFileId, u"s-1"_s);
        QCOMPARE(store.files.GetAll().size(), 2);
    }

    void filesThatLinkToEachOtherInACircleAreAddedOnce()
    {
        Store store;
        FileConfiguration first =
            store.fileIn(store.root.getId(), store.makeFile(store.path(u"first.txt"_s)));
        FileConfiguration second =
            store.fileIn(store.root.getId(), store.makeFile(store.path(u"second.txt"_s)));
        first.setFileLinks({makeLink(u"second.txt"_s)});
        second.setFileLinks({makeLink(u"first.txt"_s)});

        QVERIFY(store.files.Add(first));
        QVERIFY(store.files.Add(second));

        QCOMPARE(second.getId(), first.getFileLinks()[0].FileId);
        QCOMPARE(idsOf(store.files.GetAll()), (QList<int>{second.getId(), first.getId()}));
        const auto stored = store.files.GetAll();
        QCOMPARE(stored[0].getFileLinks()[0].FileId, first.getId());
        QCOMPARE(stored[1].getFileLinks()[0].FileId, second.getId());
    }

    void aFileThatLinksToItselfIsAdded()
    {
        Store store;
        FileConfiguration file =
            store.fileIn(store.root.getId(), store.makeFile(store.path(u"main.txt"_s)));
        file.setFileLinks({makeLink(u"main.txt"_s)});

        QVERIFY(store.files.Add(file));

        const auto linked = store.files.GetFileConfigurationById(file.getFileLinks()[0].FileId);
        QCOMPARE(linked.getClientPath(), file.getClientPath());
    }

    void aBaseCopyAloneInItsDirectoryGoesWithIt()
    {
        Store store;
        const int id = addFile(store, u"main.txt"_s);
        const QString base = store.makeFile(store.path(u"backup/main.BASE"_s));
        const int baseId = store.addDependant(id, base, BaseFile);

        QVERIFY(store.files.RemoveFileConfigurationAndLinkedConfigurations(id));

        QVERIFY(!QFile::exists(base));
        QVERIFY(!QFile::exists(store.path(u"backup"_s)));
        QVERIFY(QFile::exists(store.path(u"main.txt"_s)));
        QCOMPARE(store.files.GetBaseFileConfigurationById(baseId).getId(), -1);
        QCOMPARE(store.files.GetFileConfigurationById(id).getId(), -1);
        QCOMPARE(store.viewer->refreshed, QStringList{store.root.getClientPath()});
    }

    void aBaseCopyWithANeighbourLeavesItsDirectory()
    {
        Store store;
        const int id = addFile(store, u"main.txt"_s);
        const QString base = store.makeFile(store.path(u"backup/main.BASE"_s));
        const QString neighbour = store.makeFile(store.path(u"backup/neighbour.BASE"_s));
        store.addDependant(id, base, BaseFile);

        QVERIFY(store.files.RemoveFileConfigurationAndLinkedConfigurations(id));

        QVERIFY(!QFile::exists(base));
        QVERIFY(QFile::exists(neighbour));
    }

    void anEmptyDirectoryGoesAlsoWhenTheBaseCopyIsGoneAlready()
    {
        Store store;
        const int id = addFile(store, u"main.txt"_s);
        QVERIFY(QDir().mkpath(store.path(u"backup"_s)));
        store.addDependant(id, store.path(u"backup/main.BASE"_s), BaseFile);

        QVERIFY(store.files.RemoveFileConfigurationAndLinkedConfigurations(id));

        QVERIFY(!QFile::exists(store.path(u"backup"_s)));
    }

    void onlyTheBaseCopyWithTheLowestIdIsRemoved()
    {
        Store store;
        const int id = addFile(store, u"main.txt"_s);
        const QString first = store.makeFile(store.path(u"backup/first.BASE"_s));
        const QString second = store.makeFile(store.path(u"backup/second.BASE"_s));
        store.addDependant(id, first, BaseFile);
        const int secondId = store.addDependant(id, second, BaseFile);

        QVERIFY(store.files.RemoveFileConfigurationAndLinkedConfigurations(id));

        QVERIFY(!QFile::exists(first));
        QVERIFY(QFile::exists(second));
        QCOMPARE(idsOf(store.files.GetAll(BaseFile)), QList<int>{secondId});
    }

    void generatedFilesGoWithTheirRows()
    {
        Store store;
        const int id = addFile(store, u"main.txt"_s);
        const int otherId = addFile(store, u"other.txt"_s);
        const QString first = store.makeFile(store.path(u"generated/1"_s));
        const QString second = store.makeFile(store.path(u"generated/2"_s));
        const QString others = store.makeFile(store.path(u"generated/3"_s));
        store.addDependant(id, first, GeneratedFile);
        store.addDependant(id, second, GeneratedFile);
        const int keptId = store.addDependant(otherId, others, GeneratedFile);

        QVERIFY(store.files.RemoveFileConfigurationAndLinkedConfigurations(id));

        QVERIFY(!QFile::exists(first));
        QVERIFY(!QFile::exists(second));
        QVERIFY(QFile::exists(others));
        QCOMPARE(idsOf(store.files.GetAll(GeneratedFile)), QList<int>{keptId});
        QCOMPARE(idsOf(store.files.GetAll()), QList<int>{otherId});
    }

    void filesThatMayNotBeDeletedStayAndTheRowsGo()
    {
        Store store;
        const int id = addFile(store, u"main.txt"_s);
        // Directories stand in for them: these resist the removal of a file for every user.
        const QString base = QFileInfo(store.makeFile(store.path(u"backup/b/x"_s))).path();
        const QString generated = QFileInfo(store.makeFile(store.path(u"generated/g/x"_s))).path();
        store.addDependant(id, base, BaseFile);
        store.addDependant(id, generated, GeneratedFile);

        QVERIFY(store.files.RemoveFileConfigurationAndLinkedConfigurations(id));

        QVERIFY(QFile::exists(base + u"/x"_s));
        QVERIFY(QFile::exists(generated + u"/x"_s));
        QVERIFY(store.files.GetAll(BaseFile).isEmpty());
        QVERIFY(store.files.GetAll(GeneratedFile).isEmpty());
        QVERIFY(store.files.GetAll().isEmpty());
    }

    void dependantsWithoutAPathTouchNoDirectory()
    {
        Store store;
        const int id = addFile(store, u"main.txt"_s);
        for (const auto type : {BaseFile, GeneratedFile}) {
            FileConfiguration dependant = store.fileIn(1, {}, type);
            dependant.setId(store.addDependant(id, u"/gone/path"_s, type));
            dependant.setParentFileId(id);
            QVERIFY(store.files.Update(dependant));
        }
        const QString workingDirectory = store.path(u"empty"_s);
        QVERIFY(QDir().mkpath(workingDirectory));
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(workingDirectory));

        const bool removed = store.files.RemoveFileConfigurationAndLinkedConfigurations(id);

        QVERIFY(QDir::setCurrent(before));
        QVERIFY(removed);
        QVERIFY(QFile::exists(workingDirectory));
    }

    void removingAnUnknownFileIsTrue()
    {
        Store store;

        QVERIFY(store.files.RemoveFileConfigurationAndLinkedConfigurations(4711));
        QVERIFY(store.files.RemoveBaseFileConfiguration(4711));
        QVERIFY(store.files.RemoveGeneratedFileConfiguration(4711));
    }

    void removalByStatusIsFalseAlsoWhenRowsWereRemoved()
    {
        Store store;
        const int matching = store.addDependant(4711, u"/g"_s, GeneratedFile);
        store.addDependant(matching, u"/below"_s, GeneratedFile);
        const int other = store.addDependant(4712, u"/other"_s, GeneratedFile);
        FileConfiguration syncing = store.files.GetGeneratedFileConfigurationById(matching);
        syncing.setSyncStatus(FileSyncing);
        QVERIFY(store.files.Update(syncing));

        QVERIFY(!store.files.RemoveGeneratedFileConfigurationsByRootFolderIdAndSyncStatus(
            store.root.getId(), FileSyncing));

        QCOMPARE(idsOf(store.files.GetAll(GeneratedFile)), (QList<int>{matching, other}));
    }

    void onlySyncingFilesOfTheFolderAreReset()
    {
        Store store;
        const auto add = [&store](int folderId, const QString& path, int status) {
            FileConfiguration file = store.fileIn(folderId, path);
            file.setSyncStatus(static_cast<FileSynchronizationStatus>(status));
            QVERIFY(store.files.Add(file));
        };
        add(101, u"/a"_s, 1);
        add(101, u"/b"_s, 3);
        add(102, u"/c"_s, 1);

        QVERIFY(store.files.UpdateSyncStatusFromSyncingToNotSynced(101));

        QList<int> statuses;
        for (const FileConfiguration& file : store.files.GetAll())
            statuses.append(file.getSyncStatus());
        QCOMPARE(statuses, (QList<int>{2, 3, 1}));
        QCOMPARE(
            store.files.GetFileConfigurationsByFolderIdAndSyncStatus(101, FileNotSynced).size(), 1);
    }

    void changesUnderATransactionAreUndoneOrKept()
    {
        Store store;
        FileConfiguration undone = store.fileIn(101, u"/undone"_s);
        FileConfiguration kept = store.fileIn(101, u"/kept"_s);

        QVERIFY(store.files.transaction());
        QVERIFY(store.files.Add(undone));
        QVERIFY(store.files.rollback());
        QVERIFY(store.files.transaction());
        QVERIFY(store.files.Add(kept));
        QVERIFY(store.files.commit());

        QCOMPARE(store.files.GetFileConfigurationByClientPath(u"/undone"_s).getId(), -1);
        QCOMPARE(store.files.GetFileConfigurationByClientPath(u"/kept"_s).getId(), kept.getId());
    }

    void aChangedFileIsToldByItsContent()
    {
        Store store;
        const QString path = store.makeFile(store.path(u"main.txt"_s), "before");
        FileConfiguration file = store.fileIn(store.root.getId(), path);
        file.setCheckSum(Sha256FileHash().GetFileHash(path));
        QVERIFY(store.files.Add(file));
        file = store.files.GetFileConfigurationById(file.getId());

        QFileInfo onDisk(path);
        QVERIFY(!store.files.LocalFileHasChanged(onDisk, file));
        store.makeFile(path, "after");
        QFileInfo rewritten(path);
        QVERIFY(store.files.LocalFileHasChanged(rewritten, file));
    }

private:
    static int addFile(Store& store, const QString& name)
    {
        FileConfiguration file = store.fileIn(store.root.getId(), store.makeFile(store.path(name)));
        if (!store.files.Add(file))
            qFatal("Cannot add a file");
        return file.getId();
    }
};

QTEST_GUILESS_MAIN(TestFileConfigManagerOnDisk)
#include "TestFileConfigManagerOnDisk.moc"
