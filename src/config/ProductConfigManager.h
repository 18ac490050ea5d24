#pragma once
#include <core/PosixSync.h>

#include <config/DatabaseConfigurationManager.h>
#include <config/ProductConfiguration.h>
#include <interf/IProductConfigManager.h>

namespace sync::config {

/// Stores the products that are registered with the servers.
///
/// Keeps no state between calls: as thread-safe as the factory it is given. Nothing is thrown: a
/// lookup that finds nothing or fails returns a record with id -1.
class VELMIO_CONFIGURATION_EXPORT ProductConfigManager : public interf::IProductConfigManager,
                                                         public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    explicit ProductConfigManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    ~ProductConfigManager() override;

    Q_INVOKABLE sync::config::ProductConfiguration GetProductConfigurationById(int id) override;

    /// The first product with this key on this server, as the database orders them.
    Q_INVOKABLE sync::config::ProductConfiguration GetProductConfigurationByServerIdAndConsumerKey(
        int serverId, QString consumerKey) override;

    /// All products in the database's order; empty when the query fails.
    Q_INVOKABLE QVector<sync::config::ProductConfiguration> GetAll() override;

    /// Stores the fields under the record's id, and NULL as the consumer secret; false when that
    /// fails. True for an id that is not in the table, which changes nothing.
    Q_INVOKABLE bool Update(sync::config::ProductConfiguration ProductConfiguration) override;

    /// Stores a new product and sets its id; false when that fails, with the record unchanged.
    Q_INVOKABLE bool Add(sync::config::ProductConfiguration& ProductConfiguration) override;

    /// Removes one row; true also when there was none. Folders and files that refer to it are not
    /// touched.
    Q_INVOKABLE bool Remove(int ProductConfigurationId) override;

private:
    void _PopulateProductConfiguration(const RowReader& row, ProductConfiguration& product);
    void _PopulateProductConfigurations(
        const RowReader& row, QVector<ProductConfiguration>& products);
};

} // namespace sync::config
