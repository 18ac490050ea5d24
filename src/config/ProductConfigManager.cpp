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

ProductConfigManager::ProductConfigManager(
    std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory)
    : DatabaseConfigurationManager(std::move(databaseFactory))
{
}

ProductConfigManager::~ProductConfigManager() = default;

ProductConfiguration ProductConfigManager::GetProductConfigurationById(int id)
{
    const auto product = _Prepare(SelectById.toString())
                             .bind(u":id"_s, id)
                             .readOne<ProductConfiguration>(
                                 this, &ProductConfigManager::_PopulateProductConfiguration);
    return ProductConfiguration(product); // A copy, which leaves the properties behind.
}

ProductConfiguration ProductConfigManager::GetProductConfigurationByServerIdAndConsumerKey(
    int serverId, QString consumerKey)
{
    const auto product = _Prepare(SelectByServerIdAndConsumerKey.toString())
                             .bind(u":serverId"_s, serverId)
                             .bind(u":consumerKey"_s, consumerKey)
                             .readOne<ProductConfiguration>(
                                 this, &ProductConfigManager::_PopulateProductConfiguration);
    return ProductConfiguration(product); // A copy, which leaves the properties behind.
}

QVector<ProductConfiguration> ProductConfigManager::GetAll()
{
    return _Prepare(SelectAll.toString())
        .readAll<QVector<ProductConfiguration>>(
            this, &ProductConfigManager::_PopulateProductConfigurations);
}

// No value goes to ":consumerSecret", so an update leaves NULL in that column. That is wanted.
bool ProductConfigManager::Update(sync::config::ProductConfiguration ProductConfiguration)
{
    TransactionalScope scope;
    const auto& members = ProductConfiguration.members;
    return _Prepare(UpdateById.toString())
        .bind(u":id"_s, members.id)
        .bind(u":name"_s, members.name)
        .bind(u":consumerKey"_s, members.consumerKey)
        .bind(u":serverId"_s, members.serverId)
        .bind(
            u":nameValueProperties"_s,
            ToNameValuePropertyString(ProductConfiguration.nameValueProperties))
        .exec();
}

bool ProductConfigManager::Add(sync::config::ProductConfiguration& ProductConfiguration)
{
    TransactionalScope scope;
    auto& members = ProductConfiguration.members;
    return _Prepare(Insert.toString())
        .bind(u":name"_s, members.name)
        .bind(u":consumerKey"_s, members.consumerKey)
        .bind(u":consumerSecret"_s, members.consumerSecret)
        .bind(u":serverId"_s, members.serverId)
        .bind(
            u":nameValueProperties"_s,
            ToNameValuePropertyString(ProductConfiguration.nameValueProperties))
        .execInsert(members.id);
}

bool ProductConfigManager::Remove(int ProductConfigurationId)
{
    // Nothing uses what is read. The read is wanted all the same, before the scope opens.
    GetProductConfigurationById(ProductConfigurationId);

    TransactionalScope scope;
    return _Prepare(Delete.toString()).bind(u":id"_s, ProductConfigurationId).exec();
}

void ProductConfigManager::_PopulateProductConfiguration(
    const RowReader& row, ProductConfiguration& product)
{
    if (!row.isValid())
        return;

    auto& members = product.members;
    members.id = row.integer(0);
    members.name = row.text(1);
    members.consumerKey = row.text(2);
    members.consumerSecret = row.text(3);
    members.serverId = row.integer(4);
    product.nameValueProperties = _NameValueProperties(row, 5);
}

void ProductConfigManager::_PopulateProductConfigurations(
    const RowReader& row, QVector<ProductConfiguration>& products)
{
    while (row.next()) {
        ProductConfiguration product;
        _PopulateProductConfiguration(row, product);
        products.append(product); // A copy, which leaves the properties behind.
    }
}

} // namespace sync::config
