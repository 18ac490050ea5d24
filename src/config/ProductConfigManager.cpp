#include <config/ProductConfigManager.h>

#include <config/statement/RowReader.h>
#include <config/statement/SqlText.h>
#include <config/statement/Statement.h>
#include <database/TransactionalScope.h>

using namespace Qt::StringLiterals;
using sync::database::TransactionalScope;

namespace sync::config {

namespace {

// In the order in which _PopulateProductConfiguration reads them.
constexpr SqlText Columns(u"id, name, consumerKey, consumerSecret, serverId, nameValueProperties");

constexpr auto SelectAll = u"SELECT " + Columns + u" FROM ProductConfiguration";
constexpr auto SelectById = SelectAll + u" WHERE id = :id";
constexpr auto SelectByServerIdAndConsumerKey =
    SelectAll + u" WHERE serverId = :serverId AND consumerKey = :consumerKey";

constexpr SqlText UpdateById(
    u"UPDATE ProductConfiguration SET name = :name, consumerKey = :consumerKey,"
    u" consumerSecret = :consumerSecret, serverId = :serverId,"
    u" nameValueProperties = :nameValueProperties WHERE id = :id");
constexpr SqlText Insert(
    u"INSERT INTO ProductConfiguration"
    u" (name, consumerKey, consumerSecret, serverId, nameValueProperties)"
    u" VALUES (:name, :consumerKey, :consumerSecret, :serverId, :nameValueProperties);");
constexpr SqlText Delete(u"DELETE FROM ProductConfiguration WHERE Id = :id;");

} // namespace

ProductConfiguration ProductConfigManager::GetProductConfigurationById(int id)
{
    return _Prepare(SelectById)
        .bind(u":id"_s, id)
        .readOne(this, &ProductConfigManager::_PopulateProductConfiguration);
}

ProductConfiguration ProductConfigManager::GetProductConfigurationByServerIdAndConsumerKey(
    int serverId, QString consumerKey)
{
    return _Prepare(SelectByServerIdAndConsumerKey)
        .bind(u":serverId"_s, serverId)
        .bind(u":consumerKey"_s, consumerKey)
        .readOne(this, &ProductConfigManager::_PopulateProductConfiguration);
}

QVector<ProductConfiguration> ProductConfigManager::GetAll()
{
    return _Prepare(SelectAll).readAll(this, &ProductConfigManager::_PopulateProductConfiguration);
}

// Intentional: binds nothing to ":consumerSecret", so an update sets that column to NULL.
bool ProductConfigManager::Update(sync::config::ProductConfiguration ProductConfiguration)
{
    TransactionalScope scope;
    const auto& members = ProductConfiguration.members;
    return _Prepare(UpdateById)
        .bind(u":id"_s, members.id)
        .bind(u":name"_s, members.name)
        .bind(u":consumerKey"_s, members.consumerKey)
        .bind(u":serverId"_s, members.serverId)
        .bind(u":nameValueProperties"_s, ToNameValuePropertyString({}))
        .exec();
}

bool ProductConfigManager::Add(sync::config::ProductConfiguration& ProductConfiguration)
{
    TransactionalScope scope;
    auto& members = ProductConfiguration.members;
    return _Prepare(Insert)
        .bind(u":name"_s, members.name)
        .bind(u":consumerKey"_s, members.consumerKey)
        .bind(u":consumerSecret"_s, members.consumerSecret)
        .bind(u":serverId"_s, members.serverId)
        .bind(u":nameValueProperties"_s, ToNameValuePropertyString({}))
        .execInsert(members.id);
}

bool ProductConfigManager::Remove(int ProductConfigurationId)
{
    // Intentional, although nothing uses the result: the read comes before the scope.
    GetProductConfigurationById(ProductConfigurationId);

    TransactionalScope scope;
    return _Prepare(Delete).bind(u":id"_s, ProductConfigurationId).exec();
}

void ProductConfigManager::_PopulateProductConfiguration(
    const RowReader& row, ProductConfiguration& product) const
{
    if (!row.isValid())
        return;

    auto& members = product.members;
    members.id = row.integer(0);
    members.name = row.text(1);
    members.consumerKey = row.text(2);
    members.consumerSecret = row.text(3);
    members.serverId = row.integer(4);
    // Intentional: the record does not keep them, so storing it empties the column.
    _NameValueProperties(row, 5);
}

} // namespace sync::config
