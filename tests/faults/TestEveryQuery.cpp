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

/// The samples, with a base copy and a generated file of file 1 on the disk, and the managers of a
/// host whose database fails when it is told to.
class Place
{
public:
    Place()
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

    // What is stored as number 1; of the folders, 1 and 2.
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
    std::function<QString(Place&)> run;
    QString result;
    /// What it gives when the first, the second ... of its statements fails.
    QStringList resultsOfFailure;
    /// Whether a list that breaks off after some rows shows in the result.
    bool isList = false;
};

const QString None = u"none"_s;
const QString Found = u"found"_s;
const QString Empty = u"0 rows"_s;
const QString True = u"true"_s;
const QString False = u"false"_s;

QList<Operation> serverOperations()
{
    return {
        {"GetServerConfigById",
         [](Place& p) { return found(p.servers.GetServerConfigById(1)); },
         Found,
         {None}},
        {"GetServerConfigByServers",
         [](Place& p) {
             return found(p.servers.GetServerConfigByServers(
                 p.server.getDavUrl(), p.server.getWebServiceUrl()));
         },
         Found,
         {None}},
        {"GetServerConfigByAuthenticationId",
         [](Place& p) { return found(p.servers.GetServerConfigByAuthenticationId(1)); },
         Found,
         {None}},
        {"GetServerConfigByFolderId",
         [](Place& p) { return found(p.servers.GetServerConfigByFolderId(1)); },
         Found,
         {None}},
        {"GetServerConfigByFileId",
         [](Place& p) { return found(p.servers.GetServerConfigByFileId(1)); },
         Found,
         {None}},
        {"GetDefaultServerConfig",
         [](Place& p) { return found(p.servers.GetDefaultServerConfig()); },
         Found,
         {None}},
        {"servers GetAll",
         [](Place& p) { return rows(p.servers.GetAll()); },
         u"3 rows"_s,
         {Empty},
         true},
        {"server Update", [](Place& p) { return text(p.servers.Update(p.server)); }, True, {False}},
        {"server Add", [](Place& p) { return text(p.servers.Add(p.server)); }, True, {False}},
        {"server Remove", [](Place& p) { return text(p.servers.Remove(1)); }, True, {False}},
    };
}

QList<Operation> productOperations()
{
    return {
        {"GetProductConfigurationById",
         [](Place& p) { return found(p.products.GetProductConfigurationById(1)); },
         Found,
         {None}},
        {"GetProductConfigurationByServerIdAndConsumerKey",
         [](Place& p) {
             return found(p.products.GetProductConfigurationByServerIdAndConsumerKey(
                 p.product.getServerId(), p.product.getConsumerKey()));
         },
         Found,
         {None}},
        {"products GetAll",
         [](Place& p) { return rows(p.products.GetAll()); },
         u"2 rows"_s,
         {Empty},
         true},
        {"product Update",
         [](Place& p) { return text(p.products.Update(p.product)); },
         True,
         {False}},
        {"product Add", [](Place& p) { return text(p.products.Add(p.product)); }, True, {False}},
        // Its read is not used.
        {"product Remove",
         [](Place& p) { return text(p.products.Remove(1)); },
         True,
         {True, False}},
    };
}

QList<Operation> signInOperations()
{
    return {
        {"GetAuthenticationConfigurationById",
         [](Place& p) { return found(p.signIns.GetAuthenticationConfigurationById(1)); },
         Found,
         {None}},
        {"GetAuthenticationConfigurationByDomainAndUser",
         [](Place& p) {
             return found(p.signIns.GetAuthenticationConfigurationByDomainAndUser(
                 p.signIn.getDomain(), p.signIn.getUserName()));
         },
         Found,
         {None}},
        {"signIns GetAll",
         [](Place& p) { return rows(p.signIns.GetAll()); },
         u"2 rows"_s,
         {Empty},
         true},
        {"GetDistinctAuthenticationConfigurations",
         [](Place& p) { return rows(p.signIns.GetDistinctAuthenticationConfigurations()); },
         u"2 rows"_s,
         {Empty},
         true},
        {"signIn Update", [](Place& p) { return text(p.signIns.Update(p.signIn)); }, True, {False}},
        {"signIn Add", [](Place& p) { return text(p.signIns.Add(p.signIn)); }, True, {False}},
        {"signIn Remove", [](Place& p) { return text(p.signIns.Remove(1)); }, True, {False}},
        {"UpdatePassword",
         [](Place& p) {
             return QString::number(
                 p.signIns.UpdatePassword(p.signIn.getDomain(), p.signIn.getUserName(), {}));
         },
         u"1"_s,
         {u"-1"_s}},
    };
}

QList<Operation> folderReads()
{
    return {
        {"GetFolderConfigurationById",
         [](Place& p) { return found(p.folders->GetFolderConfigurationById(1)); },
         Found,
         {None}},
        {"GetFolderConfigurationByServerId",
         [](Place& p) {
             return found(
                 p.folders->GetFolderConfigurationByServerId(p.folder.getServerFolderId()));
         },
         Found,
         {None}},
        {"GetFolderConfigurationByClientPath",
         [](Place& p) {
             return found(p.folders->GetFolderConfigurationByClientPath(p.folder.getClientPath()));
         },
         Found,
         {None}},
        {"GetFolderConfigurationByClientPathAndAuthenticationId",
         [](Place& p) {
             return found(p.folders->GetFolderConfigurationByClientPathAndAuthenticationId(
                 p.folder.getClientPath(), p.folder.getAuthenticationId()));
         },
         Found,
         {None}},
        {"GetFolderConfigurationsByAuthenticationId",
         [](Place& p) {
             return rows(p.folders->GetFolderConfigurationsByAuthenticationId(
                 p.folder.getAuthenticationId()));
         },
         u"7 rows"_s,
         {Empty},
         true},
        {"GetFolderConfigurationsByRootId",
         [](Place& p) { return rows(p.folders->GetFolderConfigurationsByRootId(1)); },
         u"4 rows"_s,
         {Empty},
         true},
        // Without the roots every folder is without one: who removes these asks an ErrorGuard.
        {"GetFolderConfigurationsOfNonExistingRootFolders",
         [](Place& p) {
             return rows(p.folders->GetFolderConfigurationsOfNonExistingRootFolders());
         },
         u"1 rows"_s,
         {u"7 rows"_s, Empty}},
        {"folders GetAll",
         [](Place& p) { return rows(p.folders->GetAll()); },
         u"7 rows"_s,
         {Empty},
         true},
        {"GetAllRootFolders",
         [](Place& p) { return rows(p.folders->GetAllRootFolders()); },
         u"2 rows"_s,
         {Empty},
         true},
        {"GetFolderConfigurationByParentId",
         [](Place& p) { return rows(p.folders->GetFolderConfigurationByParentId(1)); },
         u"2 rows"_s,
         {Empty},
         true},
        {"IsInExistingClientFolder",
         [](Place& p) {
             return text(p.folders->IsInExistingClientFolder(p.folder.getClientPath(), -1, false));
         },
         True,
         {False}},
        {"AncestorOrDescendantOfServerFolderExists",
         [](Place& p) {
             QString matching;
             return text(p.folders->AncestorOrDescendantOfServerFolderExists(
                 p.root.getServerPath(), p.root.getAuthenticationId(), matching));
         },
         True,
         {False}},
        {"IsInExistingAuthentication",
         [](Place& p) { return text(p.folders->IsInExistingAuthentication(99)); },
         False,
         {True}},
        {"IsAnyFolderConfigOutOfSync",
         [](Place& p) { return text(p.folders->IsAnyFolderConfigOutOfSync()); },
         False,
         {True}},
        {"GetRootFolderConfigurationCount",
         [](Place& p) { return QString::number(p.folders->GetRootFolderConfigurationCount()); },
         u"2"_s,
         {u"-1"_s}},
    };
}

QList<Operation> folderWrites()
{
    return {
        {"folder Update",
         [](Place& p) { return text(p.folders->Update(p.folder)); },
         True,
         {False}},
        {"folder Add", [](Place& p) { return text(p.folders->Add(p.folder)); }, True, {False}},
        // The INSERT has set the root id already.
        {"root folder Add",
         [](Place& p) {
             p.root.setRootId(-1);
             return text(p.folders->Add(p.root));
         },
         True,
         {False, True}},
        {"AddFolderAndParent",
         [](Place& p) {
             return found(
                 p.folders->AddFolderAndParent(p.root.getClientPath() + u"/new/newer"_s, p.root));
         },
         Found,
         // A lookup that fails has it look further up, where nothing is registered.
         {Found, Found, None, None, None}},
        {"folder Remove", [](Place& p) { return text(p.folders->Remove(2)); }, True, {True, False}},
        // 2, with 3 in it: children, children of 3, read 3, remove 3, its files; the same for 2.
        {"Clean",
         [](Place& p) { return text(p.folders->Clean(2)); },
         True,
         {True, True, True, False, False, True, False, False}},
        // Read, remove, files, list of folders, folders.
        {"CleanRootFolder",
         [](Place& p) { return text(p.folders->CleanRootFolder(1)); },
         True,
         {True, False, False, True, False}},
    };
}

QList<Operation> fileReads()
{
    return {
        {"GetFileConfigurationById",
         [](Place& p) { return found(p.files.GetFileConfigurationById(1)); },
         Found,
         {None}},
        {"GetFileConfigurationByServerId",
         [](Place& p) {
             return found(p.files.GetFileConfigurationByServerId(p.file.getServerFileId()));
         },
         Found,
         {None}},
        {"GetBaseFileConfigurationById",
         [](Place& p) { return found(p.files.GetBaseFileConfigurationById(1)); },
         Found,
         {None}},
        {"GetGeneratedFileConfigurationById",
         [](Place& p) { return found(p.files.GetGeneratedFileConfigurationById(1)); },
         Found,
         {None}},
        {"GetFileConfigurationByClientPath",
         [](Place& p) {
             return found(p.files.GetFileConfigurationByClientPath(p.file.getClientPath()));
         },
         Found,
         {None}},
        {"GetAllFileConfigurationsByClientPath",
         [](Place& p) {
             return rows(p.files.GetAllFileConfigurationsByClientPath(p.file.getClientPath()));
         },
         u"1 rows"_s,
         {Empty},
         true},
        {"GetFileConfigurationByClientPathAndAuthenticationId",
         [](Place& p) {
             return found(p.files.GetFileConfigurationByClientPathAndAuthenticationId(
                 p.file.getClientPath(), p.folder.getAuthenticationId()));
         },
         Found,
         {None, None}},
        {"GetBaseFileConfigurationByParentFileId",
         [](Place& p) { return found(p.files.GetBaseFileConfigurationByParentFileId(1)); },
         Found,
         {None}},
        {"GetGeneratedFileConfigurationsByParentFileId",
         [](Place& p) { return rows(p.files.GetGeneratedFileConfigurationsByParentFileId(1)); },
         u"1 rows"_s,
         {Empty},
         true},
        {"GetGeneratedFileConfigurationByClientPath",
         [](Place& p) {
             return found(p.files.GetGeneratedFileConfigurationByClientPath(
                 p.directory.filePath(u"copies/1-3"_s)));
         },
         Found,
         {None}},
        {"GetFileConfigurationByServerPathAndAuthenticationId",
         [](Place& p) {
             return found(p.files.GetFileConfigurationByServerPathAndAuthenticationId(
                 p.file.getServerPath(), p.folder.getAuthenticationId()));
         },
         Found,
         {None, None}},
        {"GetFileConfigurationsByFolderId",
         [](Place& p) {
             return rows(p.files.GetFileConfigurationsByFolderId(2, sync::interf::OrderByName));
         },
         u"2 rows"_s,
         {Empty},
         true},
        {"GetFileConfigurationsByRootFolderId",
         [](Place& p) {
             return rows(p.files.GetFileConfigurationsByRootFolderId(1, OrdinaryFile));
         },
         u"6 rows"_s,
         {Empty},
         true},
        {"GetFileConfigurationsOfNonExistingRootFolders",
         [](Place& p) { return rows(p.files.GetFileConfigurationsOfNonExistingRootFolders()); },
         u"1 rows"_s,
         {u"8 rows"_s, Empty}},
        {"GetFileConfiguration",
         [](Place& p) {
             FileLink link;
             link.FileId = 1;
             link.Path = p.file.getName();
             return found(p.files.GetFileConfiguration(link, p.file.getClientPath()));
         },
         // The path finds it when the id does not.
         Found,
         {Found}},
        {"files GetAll",
         [](Place& p) { return rows(p.files.GetAll()); },
         u"8 rows"_s,
         {Empty},
         true},
    };
}

QList<Operation> fileWrites()
{
    return {
        {"file Update", [](Place& p) { return text(p.files.Update(p.file)); }, True, {False}},
        // Not found it is added again: a host that minds asks an ErrorGuard.
        {"file Add", [](Place& p) { return text(p.files.Add(p.file)); }, True, {True, False}},
        {"RemoveBaseFileConfiguration",
         [](Place& p) { return text(p.files.RemoveBaseFileConfiguration(1)); },
         True,
         {True, False}},
        {"RemoveGeneratedFileConfiguration",
         [](Place& p) { return text(p.files.RemoveGeneratedFileConfiguration(1)); },
         True,
         {True, False}},
        {"RemoveByFolderConfigurationId",
         [](Place& p) { return text(p.files.RemoveByFolderConfigurationId(2)); },
         True,
         {False}},
        {"RemoveByRootFolderId",
         [](Place& p) { return text(p.files.RemoveByRootFolderId(1)); },
         True,
         {False}},
        {"RemoveGeneratedFileConfigurationsByRootFolderId",
         [](Place& p) { return text(p.files.RemoveGeneratedFileConfigurationsByRootFolderId(1)); },
         True,
         {False}},
        {"UpdateSyncStatusFromSyncingToNotSynced",
         [](Place& p) { return text(p.files.UpdateSyncStatusFromSyncingToNotSynced(2)); },
         True,
         {False}},
        {"schedule Update",
         [](Place& p) { return text(p.schedules.Update(p.schedule)); },
         True,
         {False}},
        {"schedule Remove", [](Place& p) { return text(p.schedules.Remove(1)); }, True, {False}},
        {"GetDefaultScheduleEntry",
         [](Place& p) { return found(p.schedules.GetDefaultScheduleEntry()); },
         Found,
         {None}},
        {"GetScheduleEntryById",
         [](Place& p) { return found(p.schedules.GetScheduleEntryById(1)); },
         Found,
         {None}},
    };
}

QList<Operation> allOperations()
{
    return serverOperations() + productOperations() + signInOperations() + folderReads() +
           folderWrites() + fileReads() + fileWrites();
}

} // namespace

/// Every operation, with each of its statements failing in turn, gives what its documentation says.
class TestEveryQuery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        sync::core::crypto::setKeyStore(
            std::make_shared<sync::core::crypto::HostKeyStore>(QByteArray(32, 'k')));
    }

    void failedStatementGivesTheDocumentedResult()
    {
        for (const Operation& operation : allOperations()) {
            QStringList results;
            for (int number = 1; number <= operation.resultsOfFailure.size(); ++number) {
                Place place;
                place.database->failExec(number);
                results.append(operation.run(place));
                QVERIFY2(place.database->execs() >= number, operation.name);
            }

            QVERIFY2(
                results == operation.resultsOfFailure,
                qPrintable(QLatin1StringView(operation.name) + u": "_s + results.join(u' ')));
        }
    }

    void everyStatementOfAnOperationIsFailedOnce()
    {
        for (const Operation& operation : allOperations()) {
            Place place;
            place.database->failExec(0);

            const QString result = operation.run(place);

            QVERIFY2(
                result == operation.result &&
                    place.database->execs() == operation.resultsOfFailure.size(),
                qPrintable(u"%1: %2 by %3 statements"_s.arg(
                    QLatin1StringView(operation.name), result,
                    QString::number(place.database->execs()))));
        }
    }

    void listThatBreaksOffGivesTheRowsBefore()
    {
        for (const Operation& operation : allOperations()) {
            if (!operation.isList)
                continue;
            const int count = operation.result.section(u' ', 0, 0).toInt();
            for (int number = 1; number <= count; ++number) {
                Place place;
                place.database->failNext(number);

                const QString result = operation.run(place);

                QVERIFY2(
                    result == u"%1 rows"_s.arg(number - 1),
                    qPrintable(QLatin1StringView(operation.name) + u": "_s + result));
            }
        }
    }

    // Only of what was found is a file on the disk deleted, and a row removed.
    void cascadeDeletesNothingThatAFailedReadHid_data()
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
    void cascadeDeletesNothingThatAFailedReadHid()
    {
        QFETCH(int, failing);
        QFETCH(QString, result);
        QFETCH(QStringList, left);
        Place place;
        place.database->failExec(failing);

        const QString actual = text(place.files.RemoveFileConfigurationAndLinkedConfigurations(1));

        QCOMPARE(actual, result);
        QCOMPARE(place.dependants(), left);
        // The rows of what is left on the disk are there as well.
        const bool hasBase = left.contains(u"2-2"_s) || failing == 3;
        const bool hasGenerated = left.contains(u"1-3"_s) || failing == 5;
        QCOMPARE(place.files.GetBaseFileConfigurationById(2).getId(), hasBase ? 2 : -1);
        QCOMPARE(place.files.GetGeneratedFileConfigurationById(3).getId(), hasGenerated ? 3 : -1);
    }
};

QTEST_GUILESS_MAIN(TestEveryQuery)
#include "TestEveryQuery.moc"
