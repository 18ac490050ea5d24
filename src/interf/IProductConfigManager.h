#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QObject>
#include <QString>
#include <QVector>

namespace sync::config {
class ProductConfiguration;
}

namespace sync::interf {

/// Reads and writes the products that are registered with the servers.
///
/// A lookup that finds nothing or fails returns a record with id -1.
class VELMIO_INTERFACES_EXPORT IProductConfigManager : public QObject
{
    Q_OBJECT

public:
    explicit IProductConfigManager(QObject* parent = nullptr);
    ~IProductConfigManager() override;

    virtual config::ProductConfiguration GetProductConfigurationById(int id) = 0;
    virtual config::ProductConfiguration GetProductConfigurationByServerIdAndConsumerKey(
        int serverId, QString consumerKey) = 0;
    virtual QVector<config::ProductConfiguration> GetAll() = 0;
    virtual bool Update(config::ProductConfiguration product) = 0;
    virtual bool Add(config::ProductConfiguration& product) = 0;
    virtual bool Remove(int id) = 0;
};

} // namespace sync::interf
