#include <support/RawDatabase.h>
#include <support/RecordingDatabaseFactory.h>

#include <config/AuthenticationConfigManager.h>
#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/ProductConfigManager.h>
#include <config/ScheduleEntryManager.h>
#include <config/ServerConfigManager.h>
#include <database/SqliteDatabaseFactory.h>

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace sync::config;
using namespace sync::interf;
using sync::database::SqliteDatabaseFactory;
using sync::test::Answer;
using sync::test::RawDatabase;
using sync::test::RecordingDatabaseFactory;

namespace {

void callServers(const std::shared_ptr<RecordingDatabaseFactory>& factory)
{
    ServerConfigManager servers(factory);
    ServerConfiguration server;
    servers.GetServerConfigById(1);
    servers.GetServerConfigByServers({}, {});
    servers.GetAll();
    servers.Update(server);
    servers.Add(server);
    servers.Remove(1);
    servers.GetServerConfigByAuthenticationId(1);
    servers.GetServerConfigByFolderId(1);
    servers.GetServerConfigByFileId(1);
}

void callSignInsProductsAndSchedules(const std::shared_ptr<RecordingDatabaseFactory>& factory)
{
    AuthenticationConfigManager signIns(factory);
    AuthenticationConfiguration signIn;
    signIns.GetAuthenticationConfigurationById(1);
    signIns.GetAuthenticationConfigurationByDomainAndUser({}, {});
    signIns.GetAll();
    signIns.GetDistinctAuthenticationConfigurations();
    signIns.Update(signIn);
    signIns.UpdatePassword({}, {}, {});
    signIns.Add(signIn);
    signIns.Remove(1);

    ProductConfigManager products(factory);
    ProductConfiguration product;
    products.GetProductConfigurationById(1);
    products.GetProductConfigurationByServerIdAndConsumerKey(1, {});
    products.GetAll();
    products.Update(product);
    products.Add(product);
    products.Remove(1);

    ScheduleEntryManager schedules(factory);
    schedules.GetScheduleEntryById(1);
    schedules.GetDefaultScheduleEntry();
    schedules.Update({});
    schedules.Remove(1);
}

void callFolders(FolderConfigManager& folders)
{
    FolderConfiguration root;
    root.setParentId(0);
    QString match;
    folders.GetFolderConfigurationById(1);
    folders.GetFolderConfigurationByServerId({});
    folders.GetFolderConfigurationByClientPath({});
    folders.GetFolderConfigurationByClientPathAndAuthenticationId({}, 1);
    folders.GetFolderConfigurationsByAuthenticationId(1);
    folders.GetFolderConfigurationsByRootId(1);
    folders.GetFolderConfigurationByParentId(1);
    folders.GetFolderConfigurationsOfNonExistingRootFolders();
    folders.GetAll();
    folders.GetAllRootFolders();
    folders.IsInExistingAuthentication(1);
    folders.IsAnyFolderConfigOutOfSync();
    folders.GetRootFolderConfigurationCount();
    folders.Add(root);
    folders.Clean(1);
    folders.CleanRootFolder(1);
}

void callFiles(FileConfigManager& files)
{
    files.GetFileConfigurationById(1);
    files.GetFileConfigurationByServerId({});
    files.GetBaseFileConfigurationById(1);
    files.GetGeneratedFileConfigurationById(1);
    files.GetFileConfigurationByClientPath({});
    files.GetFileConfigurationsOfNonExistingRootFolders();
    files.GetGeneratedFileConfigurationByClientPath({});
    files.GetFileConfigurationByServerPathAndAuthenticationId({}, 1);
    for (int order = OrderById; order <= OrderBySizeDesc; ++order) {
        const auto orderBy = static_cast<FileConfigOrderByEnum>(order);
        files.GetFileConfigurationsByFolderId(1, orderBy);
        files.GetFileConfigurationsByRootFolderId(1, orderBy);
        files.GetGeneratedFileConfigurationsByRootFolderId(1, orderBy);
    }
    files.GetFileConfigurationsByFolderIdAndSyncStatus(1, FileNotSynced);
    files.GetGeneratedFileConfigurationsByParentFileId(1);
    files.GetBaseFileConfigurationByParentFileId(1);
    for (const auto type : {OrdinaryFile, GeneratedFile, BaseFile}) {
        files.GetFileConfigurationsByRootFolderId(1, type);
        files.GetAll(type);
        FileConfiguration file;
        file.setClientPath(u"/a"_s);
        file.setFileType(type);
        files.Update(file);
        files.Add(file);
    }
    files.RemoveFileConfigurationAndLinkedConfigurations(1);
    files.RemoveBaseFileConfiguration(1);
    files.RemoveGeneratedFileConfiguration(1);
    files.RemoveByFolderConfigurationId(1);
    files.RemoveByRootFolderId(1);
    files.RemoveGeneratedFileConfigurationsByRootFolderId(1);
    files.UpdateSyncStatusFromSyncingToNotSynced(1);
}

} // namespace

class TestQueryPlans : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        const auto recording = std::make_shared<RecordingDatabaseFactory>();
        const auto folders = std::make_shared<FolderConfigManager>(recording, nullptr);
        FileConfigManager files(recording, nullptr, nullptr, folders);
        callServers(recording);
        callSignInsProductsAndSchedules(recording);
        callFolders(*folders);
        callFiles(files);
        // Dependants are removed when there are some.
        recording->answer(u"FROM GeneratedFileConfiguration WHERE parentFileId"_s, Answer{{{1}}});
        files.RemoveFileConfigurationAndLinkedConfigurations(1);
        for (const QString& line : recording->log()) {
            if (line.startsWith(u"prepare "))
                statements.append(line.mid(8));
        }
        statements.removeDuplicates();
        QVERIFY2(statements.size() > 100, qPrintable(QString::number(statements.size())));

        folder = std::make_unique<QTemporaryDir>();
        const QString path = folder->filePath(u"store.db"_s);
        SqliteDatabaseFactory::open(path);
        database = std::make_unique<RawDatabase>(path);
    }

    void noStatementReadsAWholeTableWhereItHasACondition_data()
    {
        QTest::addColumn<QString>("sql");
        int number = 0;
        for (const QString& sql : std::as_const(statements)) {
            // No index can serve a NOT IN condition.
            if (sql.contains(u" WHERE ") && !sql.contains(u"NOT IN"))
                QTest::addRow("%d %s", ++number, qPrintable(sql.right(60))) << sql;
        }
    }

    void noStatementReadsAWholeTableWhereItHasACondition()
    {
        QFETCH(const QString, sql);

        const QString plan = planOf(sql);

        QVERIFY2(!plan.contains(u"SCAN"), qPrintable(plan));
    }

    void orderedListsOfFoldersAndDependantsNeedNoSorting()
    {
        int found = 0;
        for (const QString& sql : std::as_const(statements)) {
            const bool folders =
                sql.contains(u"FROM FolderConfiguration") && sql.contains(u"ORDER BY");
            if (!folders && !sql.contains(u"parentFileId = :parentFileId ORDER BY"))
                continue;
            ++found;
            QVERIFY2(!planOf(sql).contains(u"TEMP B-TREE"), qPrintable(sql));
        }

        QCOMPARE(found, 3);
    }

    void everyIndexServesAStatement()
    {
        static const QRegularExpression index(u"USING (?:COVERING )?INDEX (\\w+)"_s);
        QSet<QString> used;
        for (const QString& sql : std::as_const(statements)) {
            auto match = index.globalMatch(planOf(sql));
            while (match.hasNext())
                used.insert(match.next().captured(1));
        }

        const QStringList all =
            // Scans have statements of their own for the other tables.
            database->run(u"SELECT name FROM sqlite_schema"
                          u" WHERE type = 'index' AND tbl_name NOT LIKE '%OnDisk'"_s);
        QCOMPARE(used, QSet<QString>(all.begin(), all.end()));
    }

private:
    // Column 3 of a plan is its text (sqlite.org/eqp.html).
    QString planOf(const QString& sql)
    {
        QString text;
        sqlite3_stmt* plan = nullptr;
        const QByteArray explain = "EXPLAIN QUERY PLAN " + sql.toUtf8();
        if (sqlite3_prepare_v2(database->handle(), explain.constData(), -1, &plan, nullptr) !=
            SQLITE_OK)
            return u"SCAN, as it does not prepare: "_s +
                   QString::fromUtf8(sqlite3_errmsg(database->handle()));
        while (sqlite3_step(plan) == SQLITE_ROW)
            text += QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(plan, 3))) +
                    u'\n';
        sqlite3_finalize(plan);
        return text;
    }

    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<RawDatabase> database;
    QStringList statements; // the texts that the managers prepare, each once
};

QTEST_GUILESS_MAIN(TestQueryPlans)
#include "TestQueryPlans.moc"
