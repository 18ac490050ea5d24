#include <config/AuthenticationConfigManager.h>
#include <config/DatabaseConfigurationManager.h>
#include <config/FileConfigManager.h>
#include <config/FolderConfigManager.h>
#include <config/ProductConfigManager.h>
#include <config/ScheduleEntryManager.h>
#include <config/ServerConfigManager.h>
#include <core/Constants.h>
#include <core/Crypto.h>
#include <core/PathHelpers.h>
#include <core/TimedCache.h>
#include <database/DatabaseError.h>
#include <database/SqliteDatabaseFactory.h>
#include <database/TransactionalScope.h>
#include <interf/ICryptographicHash.h>
#include <interf/IDatabaseFactory.h>
#include <interf/IQSqlDatabaseWrapper.h>
#include <interf/IQSqlQueryWrapper.h>
#include <interf/IRefreshNativeFileViewer.h>

#include <QTest>

#include <stdexcept>
#include <type_traits>

using namespace sync;
using namespace sync::config;
using namespace sync::interf;

namespace {

// What programs of others name, in the forms in which they name it. It only has to compile.

class Query : public IQSqlQueryWrapper
{
public:
    QString lastError() const override { return {}; }
    QString lastQuery() const override { return {}; }
    QVariant value(int) const override { return {}; }
    bool next() override { return false; }
    bool isValid() const override { return false; }
    bool prepare(const QString&) override { return true; }
    void bindValue(const QString&, const QVariant&) override {}
    QVariant boundValue(const QString&) const override { return {}; }
    void setForwardOnly(bool) override {}
    bool exec() override { return false; }
    QVariant lastInsertId() const override { return {}; }
    int numRowsAffected() const override { return 0; }
};

class Factory : public factory::IDatabaseFactory
{
public:
    std::shared_ptr<IQSqlDatabaseWrapper> GetDatabase() override { return nullptr; }
    std::shared_ptr<IQSqlQueryWrapper> CreateQuery() override { return std::make_shared<Query>(); }
};

class Hash : public ICryptographicHash
{
public:
    QString GetFileHash(QString absoluteFilePath) override { return absoluteFilePath; }
};

class Viewer : public IRefreshNativeFileViewer
{
public:
    void Refresh(QString) override {}
};

static_assert(std::is_base_of_v<std::runtime_error, database::DatabaseError>);
static_assert(std::is_base_of_v<factory::IDatabaseFactory, database::SqliteDatabaseFactory>);
static_assert(std::is_same_v<
              decltype(&database::SqliteDatabaseFactory::open),
              std::shared_ptr<database::SqliteDatabaseFactory> (*)(const QString&)>);
static_assert(!std::is_copy_constructible_v<database::TransactionalScope>);
static_assert(!std::is_move_constructible_v<database::TransactionalScope>);
static_assert(noexcept(database::TransactionalScope::depth()));
static_assert(std::is_same_v<std::underlying_type_t<FileConfigOrderByEnum>, int>);
static_assert(int(OrderById) == 0 && int(OrderBySizeDesc) == 21);

} // namespace

class TestHostProgram : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void managersWorkOverAFactoryOfTheHost()
    {
        const auto database = std::make_shared<Factory>();
        const auto folders =
            std::make_shared<FolderConfigManager>(database, std::make_shared<Viewer>());
        FileConfigManager files(
            database, std::make_shared<Hash>(), std::make_shared<Viewer>(), folders);
        const database::TransactionalScope scope;

        QCOMPARE(ServerConfigManager(database).GetServerConfigById(1).getId(), -1);
        QCOMPARE(ProductConfigManager(database).GetProductConfigurationById(1).getServerId(), 0);
        QCOMPARE(AuthenticationConfigManager(database).GetAll().size(), 0);
        QCOMPARE(ScheduleEntryManager(database).GetDefaultScheduleEntry().getId(), -1);
        QCOMPARE(folders->GetFolderConfigurationById(1).getId(), -1);
        QCOMPARE(files.GetFileConfigurationById(1).getSyncStatusChanged(), false);
        QCOMPARE(files.GetTableNameByFileType(BaseFile), QStringLiteral("BaseFileConfiguration"));
        QDateTime date;
        QVERIFY(
            files.GetFileLinkArrayFromXmlString(files.GetXmlStringFromFileLinkArray({}, date), date)
                .isEmpty());
        QVERIFY(files.ToNameValuePropertyMap(files.ToNameValuePropertyString({})).isEmpty());
        QCOMPARE(database::TransactionalScope::depth(), 1);
    }
};

QTEST_APPLESS_MAIN(TestHostProgram)
#include "TestHostProgram.moc"
