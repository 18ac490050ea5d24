#include "support/Managers.h"
#include "support/NthQueryFails.h"
#include "support/Trials.h"

#include <config/Sha256FileHash.h>
#include <core/Crypto.h>
#include <core/HostKeyStore.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace sync::config;
using sync::test::NthQueryFails;

namespace {

QString text(bool result)
{
    return result ? u"true"_s : u"false"_s;
}

template <class List>
QString rows(const List& list)
{
    return u"%1 rows"_s.arg(list.size());
}

template <class Record>
QString found(const Record& record)
{
    return record.getId() == -1 ? u"none"_s : u"found"_s;
}

/// A host's managers over a database whose statements can be made to fail. The database holds the
/// samples; the base copy and the generated file of file 1 also exist on disk.
class Host
{
public:
    Host()
    {
        sync::test::Managers managers(directory.filePath(u"configuration.db"_s));
        if (!sync::test::fillWithSamples(managers))
            qFatal("Cannot fill the database");
        file = managers.files.GetFileConfigurationById(1);
        file.setServerFileId(u"server file"_s);
        folder = managers.folders->GetFolderConfigurationById(2);
        folder.setServerFolderId(u"server folder"_s);
        if (!managers.files.Update(file) || !managers.folders->Update(folder))
            qFatal("Cannot name the server's ids");
        if (!moveToDisk(managers, managers.files.GetBaseFileConfigurationByParentFileId(1)))
            qFatal("Cannot make the base copy");
        for (const FileConfiguration& generated :
             managers.files.GetGeneratedFileConfigurationsByParentFileId(1)) {
            if (!moveToDisk(managers, generated))
                qFatal("Cannot make a generated file");
        }
        root = managers.folders->GetFolderConfigurationById(1);
        server = managers.servers.GetServerConfigById(1);
        product = managers.products.GetProductConfigurationById(1);
        signIn = managers.signIns.GetAuthenticationConfigurationById(1);
        schedule = managers.schedules.GetDefaultScheduleEntry();
    }

    /// The names of the files on the disk that belong to file 1.
    QStringList dependants() const { return QDir(copies()).entryList(QDir::Files, QDir::Name); }

    QTemporaryDir directory{sync::test::scratchTemplate()};
    std::shared_ptr<NthQueryFails> database = std::make_shared<NthQueryFails>(
        sync::database::SqliteDatabaseFactory::open(directory.filePath(u"configuration.db"_s)));
    ServerConfigManager servers{database};
    ProductConfigManager products{database};
    AuthenticationConfigManager signIns{database};
    std::shared_ptr<FolderConfigManager> folders =
        std::make_shared<FolderConfigManager>(database, nullptr);
    FileConfigManager files{database, std::make_shared<Sha256FileHash>(), nullptr, folders};
    ScheduleEntryManager schedules{database};

    // The stored records with id 1; `folder` is folder 2.
    ServerConfiguration server;
    ProductConfiguration product;
    AuthenticationConfiguration signIn;
    FolderConfiguration root;
    FolderConfiguration folder;
    FileConfiguration file;
    ScheduleEntry schedule;

private:
    QString copies() const { return directory.filePath(u"copies"_s); }

    bool moveToDisk(sync::test::Managers& managers, FileConfiguration dependant) const
    {
        const QString path =
            u"%1/%2-%3"_s.arg(copies()).arg(dependant.getFileType()).arg(dependant.getId());
        QFile onDisk(path);
        dependant.setClientPath(path);
        return dependant.getId() != -1 && QDir().mkpath(copies()) &&
               onDisk.open(QIODevice::WriteOnly) && managers.files.Update(dependant);
    }
};

struct Operation
{
    const char* name;
    std::function<QString(Host&)> run;
    QString result;
    /// The result when statement 1, 2, ... fails.
    QStringList resultsOfFailure;
    /// True if the result counts the rows that were read before a read failed.
    bool isList = false;
};

const QString None = u"none"_s;
const QString Found = u"found"_s;
const QString Empty = u"0 rows"_s;
const QString True = u"true"_s;
const QString False = u"false"_s;

template <class Read>
Operation finds(const char* name, Read read, const QStringList& resultsOfFailure = {None})
{
    return {name, [read](Host& h) { return found(read(h)); }, Found, resultsOfFailure};
}

template <class Read>
Operation lists(const char* name, int count, Read read)
{
    return {
        name, [read](Host& h) { return rows(read(h)); }, u"%1 rows"_s.arg(count), {Empty}, true};
}

template <class Act>
Operation succeeds(const char* name, Act act, const QStringList& resultsOfFailure = {False})
{
    return {name, [act](Host& h) { return text(act(h)); }, True, resultsOfFailure};
}

QList<Operation> serverOperations()
{
    return {
        finds("GetServerConfigById", [](Host& h) { return h.servers.GetServerConfigById(1); }),
        finds(
            "GetServerConfigByServers",
            [](Host& h) {
                return h.servers.GetServerConfigByServers(
                    h.server.getDavUrl(), h.server.getWebServiceUrl());
            }),
        finds(
            "GetServerConfigByAuthenticationId",
            [](Host& h) { return h.servers.GetServerConfigByAuthenticationId(1); }),
        finds(
            "GetServerConfigByFolderId",
            [](Host& h) { return h.servers.GetServerConfigByFolderId(1); }),
        finds(
            "GetServerConfigByFileId",
            [](Host& h) { return h.servers.GetServerConfigByFileId(1); }),
        finds("GetDefaultServerConfig", [](Host& h) { return h.servers.GetDefaultServerConfig(); }),
        lists("servers GetAll", 3, [](Host& h) { return h.servers.GetAll(); }),
        succeeds("server Update", [](Host& h) { return h.servers.Update(h.server); }),
        succeeds("server Add", [](Host& h) { return h.servers.Add(h.server); }),
        succeeds("server Remove", [](Host& h) { return h.servers.Remove(1); }),
    };
}

QList<Operation> productOperations()
{
    return {
        finds(
            "GetProductConfigurationById",
            [](Host& h) { return h.products.GetProductConfigurationById(1); }),
        finds(
            "GetProductConfigurationByServerIdAndConsumerKey",
            [](Host& h) {
                return h.products.GetProductConfigurationByServerIdAndConsumerKey(
                    h.product.getServerId(), h.product.getConsumerKey());
            }),
        lists("products GetAll", 2, [](Host& h) { return h.products.GetAll(); }),
        succeeds("product Update", [](Host& h) { return h.products.Update(h.product); }),
        succeeds("product Add", [](Host& h) { return h.products.Add(h.product); }),
        // The result of the read is not used.
        succeeds("product Remove", [](Host& h) { return h.products.Remove(1); }, {True, False}),
    };
}

QList<Operation> signInOperations()
{
    return {
        finds(
            "GetAuthenticationConfigurationById",
            [](Host& h) { return h.signIns.GetAuthenticationConfigurationById(1); }),
        finds(
            "GetAuthenticationConfigurationByDomainAndUser",
            [](Host& h) {
                return h.signIns.GetAuthenticationConfigurationByDomainAndUser(
                    h.signIn.getDomain(), h.signIn.getUserName());
            }),
        lists("signIns GetAll", 2, [](Host& h) { return h.signIns.GetAll(); }),
        lists(
            "GetDistinctAuthenticationConfigurations", 2,
            [](Host& h) { return h.signIns.GetDistinctAuthenticationConfigurations(); }),
        succeeds("signIn Update", [](Host& h) { return h.signIns.Update(h.signIn); }),
        succeeds("signIn Add", [](Host& h) { return h.signIns.Add(h.signIn); }),
        succeeds("signIn Remove", [](Host& h) { return h.signIns.Remove(1); }),
        {"UpdatePassword",
         [](Host& h) {
             return QString::number(
                 h.signIns.UpdatePassword(h.signIn.getDomain(), h.signIn.getUserName(), {}));
         },
         u"1"_s,
         {u"-1"_s}},
    };
}

QList<Operation> folderReads()
{
    return {
        finds(
            "GetFolderConfigurationById",
            [](Host& h) { return h.folders->GetFolderConfigurationById(1); }),
        finds(
            "GetFolderConfigurationByServerId",
            [](Host& h) {
                return h.folders->GetFolderConfigurationByServerId(h.folder.getServerFolderId());
            }),
        finds(
            "GetFolderConfigurationByClientPath",
            [](Host& h) {
                return h.folders->GetFolderConfigurationByClientPath(h.folder.getClientPath());
            }),
        finds(
            "GetFolderConfigurationByClientPathAndAuthenticationId",
            [](Host& h) {
                return h.folders->GetFolderConfigurationByClientPathAndAuthenticationId(
                    h.folder.getClientPath(), h.folder.getAuthenticationId());
            }),
        lists(
            "GetFolderConfigurationsByAuthenticationId", 7,
            [](Host& h) {
                return h.folders->GetFolderConfigurationsByAuthenticationId(
                    h.folder.getAuthenticationId());
            }),
        lists(
            "GetFolderConfigurationsByRootId", 4,
            [](Host& h) { return h.folders->GetFolderConfigurationsByRootId(1); }),
        // When the roots cannot be read, every folder is reported as having no root. A host that
        // removes these folders must check an ErrorGuard first.
        {"GetFolderConfigurationsOfNonExistingRootFolders",
         [](Host& h) { return rows(h.folders->GetFolderConfigurationsOfNonExistingRootFolders()); },
         u"1 rows"_s,
         {u"7 rows"_s, Empty}},
        lists("folders GetAll", 7, [](Host& h) { return h.folders->GetAll(); }),
        lists("GetAllRootFolders", 2, [](Host& h) { return h.folders->GetAllRootFolders(); }),
        lists(
            "GetFolderConfigurationByParentId", 2,
            [](Host& h) { return h.folders->GetFolderConfigurationByParentId(1); }),
        succeeds(
            "IsInExistingClientFolder",
            [](Host& h) {
                return h.folders->IsInExistingClientFolder(h.folder.getClientPath(), -1, false);
            }),
        succeeds(
            "AncestorOrDescendantOfServerFolderExists",
            [](Host& h) {
                QString matching;
                return h.folders->AncestorOrDescendantOfServerFolderExists(
                    h.root.getServerPath(), h.root.getAuthenticationId(), matching);
            }),
        {"IsInExistingAuthentication",
         [](Host& h) { return text(h.folders->IsInExistingAuthentication(99)); },
         False,
         {True}},
        {"IsAnyFolderConfigOutOfSync",
         [](Host& h) { return text(h.folders->IsAnyFolderConfigOutOfSync()); },
         False,
         {True}},
        {"GetRootFolderConfigurationCount",
         [](Host& h) { return QString::number(h.folders->GetRootFolderConfigurationCount()); },
         u"2"_s,
         {u"-1"_s}},
    };
}

QList<Operation> folderWrites()
{
    return {
        succeeds("folder Update", [](Host& h) { return h.folders->Update(h.folder); }),
        succeeds("folder Add", [](Host& h) { return h.folders->Add(h.folder); }),
        // The INSERT has already set the root id.
        succeeds(
            "root folder Add",
            [](Host& h) {
                h.root.setRootId(-1);
                return h.folders->Add(h.root);
            },
            {False, True}),
        // When a lookup fails, the search continues in the parent, where nothing is registered.
        finds(
            "AddFolderAndParent",
            [](Host& h) {
                return h.folders->AddFolderAndParent(
                    h.root.getClientPath() + u"/new/newer"_s, h.root);
            },
            {Found, Found, None, None, None}),
        succeeds("folder Remove", [](Host& h) { return h.folders->Remove(2); }, {True, False}),
        // Folder 2 contains folder 3. The statements: children of 2, children of 3, read 3,
        // remove 3, remove the files of 3, then the same three for 2.
        succeeds(
            "Clean", [](Host& h) { return h.folders->Clean(2); },
            {True, True, True, False, False, True, False, False}),
        // The statements: read the root, remove it, remove the files, list the folders, remove
        // them.
        succeeds(
            "CleanRootFolder", [](Host& h) { return h.folders->CleanRootFolder(1); },
            {True, False, False, True, False}),
    };
}

QList<Operation> fileReads()
{
    return {
        finds(
            "GetFileConfigurationById",
            [](Host& h) { return h.files.GetFileConfigurationById(1); }),
        finds(
            "GetFileConfigurationByServerId",
            [](Host& h) {
                return h.files.GetFileConfigurationByServerId(h.file.getServerFileId());
            }),
        finds(
            "GetBaseFileConfigurationById",
            [](Host& h) { return h.files.GetBaseFileConfigurationById(1); }),
        finds(
            "GetGeneratedFileConfigurationById",
            [](Host& h) { return h.files.GetGeneratedFileConfigurationById(1); }),
        finds(
            "GetFileConfigurationByClientPath",
            [](Host& h) {
                return h.files.GetFileConfigurationByClientPath(h.file.getClientPath());
            }),
        lists(
            "GetAllFileConfigurationsByClientPath", 1,
            [](Host& h) {
                return h.files.GetAllFileConfigurationsByClientPath(h.file.getClientPath());
            }),
        finds(
            "GetFileConfigurationByClientPathAndAuthenticationId",
            [](Host& h) {
                return h.files.GetFileConfigurationByClientPathAndAuthenticationId(
                    h.file.getClientPath(), h.folder.getAuthenticationId());
            },
            {None, None}),
        finds(
            "GetBaseFileConfigurationByParentFileId",
            [](Host& h) { return h.files.GetBaseFileConfigurationByParentFileId(1); }),
        lists(
            "GetGeneratedFileConfigurationsByParentFileId", 1,
            [](Host& h) { return h.files.GetGeneratedFileConfigurationsByParentFileId(1); }),
        finds(
            "GetGeneratedFileConfigurationByClientPath",
            [](Host& h) {
                return h.files.GetGeneratedFileConfigurationByClientPath(
                    h.directory.filePath(u"copies/1-3"_s));
            }),
        finds(
            "GetFileConfigurationByServerPathAndAuthenticationId",
            [](Host& h) {
                return h.files.GetFileConfigurationByServerPathAndAuthenticationId(
                    h.file.getServerPath(), h.folder.getAuthenticationId());
            },
            {None, None}),
        lists(
            "GetFileConfigurationsByFolderId", 2,
            [](Host& h) {
                return h.files.GetFileConfigurationsByFolderId(2, sync::interf::OrderByName);
            }),
        lists(
            "GetFileConfigurationsByRootFolderId", 6,
            [](Host& h) { return h.files.GetFileConfigurationsByRootFolderId(1, OrdinaryFile); }),
        {"GetFileConfigurationsOfNonExistingRootFolders",
         [](Host& h) { return rows(h.files.GetFileConfigurationsOfNonExistingRootFolders()); },
         u"1 rows"_s,
         {u"8 rows"_s, Empty}},
        // When the lookup by id fails, the lookup by path finds the file.
        finds(
            "GetFileConfiguration",
            [](Host& h) {
                FileLink link;
                link.FileId = 1;
                link.Path = h.file.getName();
                return h.files.GetFileConfiguration(link, h.file.getClientPath());
            },
            {Found}),
        lists("files GetAll", 8, [](Host& h) { return h.files.GetAll(); }),
    };
}

QList<Operation> fileWrites()
{
    return {
        succeeds("file Update", [](Host& h) { return h.files.Update(h.file); }),
        // When the search for a file of the same path fails, the file is added a second time. A
        // host that must avoid this checks an ErrorGuard.
        succeeds("file Add", [](Host& h) { return h.files.Add(h.file); }, {True, False}),
        succeeds(
            "RemoveBaseFileConfiguration",
            [](Host& h) { return h.files.RemoveBaseFileConfiguration(1); }, {True, False}),
        succeeds(
            "RemoveGeneratedFileConfiguration",
            [](Host& h) { return h.files.RemoveGeneratedFileConfiguration(1); }, {True, False}),
        succeeds(
            "RemoveByFolderConfigurationId",
            [](Host& h) { return h.files.RemoveByFolderConfigurationId(2); }),
        succeeds("RemoveByRootFolderId", [](Host& h) { return h.files.RemoveByRootFolderId(1); }),
        succeeds(
            "RemoveGeneratedFileConfigurationsByRootFolderId",
            [](Host& h) { return h.files.RemoveGeneratedFileConfigurationsByRootFolderId(1); }),
        succeeds(
            "UpdateSyncStatusFromSyncingToNotSynced",
            [](Host& h) { return h.files.UpdateSyncStatusFromSyncingToNotSynced(2); }),
        succeeds("schedule Update", [](Host& h) { return h.schedules.Update(h.schedule); }),
        succeeds("schedule Remove", [](Host& h) { return h.schedules.Remove(1); }),
        finds(
            "GetDefaultScheduleEntry",
            [](Host& h) { return h.schedules.GetDefaultScheduleEntry(); }),
        finds("GetScheduleEntryById", [](Host& h) { return h.schedules.GetScheduleEntryById(1); }),
    };
}

QList<Operation> allOperations()
{
    return serverOperations() + productOperations() + signInOperations() + folderReads() +
           folderWrites() + fileReads() + fileWrites();
}

} // namespace

/// Makes each statement of each operation fail in turn: the operation returns its documented
/// result.
class TestEveryQuery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        sync::core::crypto::setKeyStore(
            std::make_shared<sync::core::crypto::HostKeyStore>(QByteArray(32, 'k')));
    }

    void failedStatementReturnsTheDocumentedResult()
    {
        for (const Operation& operation : allOperations()) {
            QStringList results;
            for (int number = 1; number <= operation.resultsOfFailure.size(); ++number) {
                Host host;
                host.database->failExec(number);
                results.append(operation.run(host));
                QVERIFY2(host.database->execs() >= number, operation.name);
            }

            QVERIFY2(
                results == operation.resultsOfFailure,
                qPrintable(QLatin1StringView(operation.name) + u": "_s + results.join(u' ')));
        }
    }

    void resultsCoverEveryStatement()
    {
        for (const Operation& operation : allOperations()) {
            Host host;
            host.database->failExec(0);

            const QString result = operation.run(host);

            QVERIFY2(
                result == operation.result &&
                    host.database->execs() == operation.resultsOfFailure.size(),
                qPrintable(u"%1: %2 by %3 statements"_s.arg(
                    QLatin1StringView(operation.name), result,
                    QString::number(host.database->execs()))));
        }
    }

    void interruptedListReturnsTheRowsReadBefore()
    {
        for (const Operation& operation : allOperations()) {
            if (!operation.isList)
                continue;
            const int count = operation.result.section(u' ', 0, 0).toInt();
            for (int number = 1; number <= count; ++number) {
                Host host;
                host.database->failNext(number);

                const QString result = operation.run(host);

                QVERIFY2(
                    result == u"%1 rows"_s.arg(number - 1),
                    qPrintable(QLatin1StringView(operation.name) + u": "_s + result));
            }
        }
    }

    // A file on disk is deleted, and its row removed, only if its record could be read.
    void cascadeKeepsFilesWhoseRecordsCouldNotBeRead_data()
    {
        QTest::addColumn<int>("failing");
        QTest::addColumn<QString>("result");
        QTest::addColumn<QStringList>("left");
        const QString base = u"2-2"_s;
        const QString generated = u"1-3"_s;

        QTest::addRow("nothing") << 0 << True << QStringList();
        QTest::addRow("the base copy's read") << 1 << True << QStringList{base};
        QTest::addRow("the base row's read") << 2 << True << QStringList();
        QTest::addRow("the base row's removal") << 3 << False << QStringList();
        QTest::addRow("the generated files' read") << 4 << True << QStringList{generated};
        QTest::addRow("the generated rows' removal") << 5 << False << QStringList();
        QTest::addRow("the file's read") << 6 << True << QStringList();
        QTest::addRow("the file's removal") << 7 << False << QStringList();
    }
    void cascadeKeepsFilesWhoseRecordsCouldNotBeRead()
    {
        QFETCH(int, failing);
        QFETCH(QString, result);
        QFETCH(QStringList, left);
        Host host;
        host.database->failExec(failing);

        const QString actual = text(host.files.RemoveFileConfigurationAndLinkedConfigurations(1));

        QCOMPARE(actual, result);
        QCOMPARE(host.dependants(), left);
        // The files that remain on disk keep their rows.
        const bool hasBase = left.contains(u"2-2"_s) || failing == 3;
        const bool hasGenerated = left.contains(u"1-3"_s) || failing == 5;
        QCOMPARE(host.files.GetBaseFileConfigurationById(2).getId(), hasBase ? 2 : -1);
        QCOMPARE(host.files.GetGeneratedFileConfigurationById(3).getId(), hasGenerated ? 3 : -1);
    }
};

QTEST_GUILESS_MAIN(TestEveryQuery)
#include "TestEveryQuery.moc"
