#pragma once
#include <core/PosixSync.h>

#include <config/DatabaseConfigurationManager.h>
#include <config/ProductConfiguration.h>
#include <interf/IProductConfigManager.h>

namespace sync::config {

/// Stores the products that are registered with the servers.
/// What each operation answers is told by the interface. Keeps no state between calls: as
/// thread-safe as the factory it is given. Nothing is thrown.
class VELMIO_CONFIGURATION_EXPORT ProductConfigManager : public interf::IProductConfigManager,
                                                         public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    /// Keeps the factory, which must not be null. The manager has no parent.
    explicit ProductConfigManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    ~ProductConfigManager() override;

    Q_INVOKABLE sync::config::ProductConfiguration GetProductConfigurationById(int id) override;
    Q_INVOKABLE sync::config::ProductConfiguration GetProductConfigurationByServerIdAndConsumerKey(
        int serverId, QString consumerKey) override;
    Q_INVOKABLE QVector<sync::config::ProductConfiguration> GetAll() override;
    Q_INVOKABLE bool Update(sync::config::ProductConfiguration ProductConfiguration) override;
    Q_INVOKABLE bool Add(sync::config::ProductConfiguration& ProductConfiguration) override;
    Q_INVOKABLE bool Remove(int ProductConfigurationId) override;

private:
    void _PopulateProductConfiguration(const RowReader& row, ProductConfiguration& product);
    void _PopulateProductConfigurations(
        const RowReader& row, QVector<ProductConfiguration>& products);
};

} // namespace sync::config
