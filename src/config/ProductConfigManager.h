#pragma once
#include <core/PosixSync.h>

#include <config/DatabaseConfigurationManager.h>
#include <config/ProductConfiguration.h>
#include <interf/IProductConfigManager.h>

namespace sync::config {

/// Stores the products that are registered with the servers.
///
/// The interface documents each operation. The manager keeps no state between calls, so it is as
/// thread-safe as its factory. It throws nothing.
class VELMIO_CONFIGURATION_EXPORT ProductConfigManager : public interf::IProductConfigManager,
                                                         public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    using DatabaseConfigurationManager::DatabaseConfigurationManager;

    Q_INVOKABLE sync::config::ProductConfiguration GetProductConfigurationById(int id) override;
    Q_INVOKABLE sync::config::ProductConfiguration GetProductConfigurationByServerIdAndConsumerKey(
        int serverId, QString consumerKey) override;
    Q_INVOKABLE QVector<sync::config::ProductConfiguration> GetAll() override;
    Q_INVOKABLE bool Update(sync::config::ProductConfiguration ProductConfiguration) override;
    Q_INVOKABLE bool Add(sync::config::ProductConfiguration& ProductConfiguration) override;
    Q_INVOKABLE bool Remove(int ProductConfigurationId) override;

private:
    void _PopulateProductConfiguration(const RowReader& row, ProductConfiguration& product) const;
};

} // namespace sync::config
