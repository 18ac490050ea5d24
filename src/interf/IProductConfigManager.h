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
/// A lookup that finds nothing or fails returns a record with id -1; of several matches it returns
/// the first in the database's order. A write returns false when the database fails, and true for
/// an id that is not in the table, which changes nothing.
class VELMIO_INTERFACES_EXPORT IProductConfigManager : public QObject
{
    Q_OBJECT

public:
    /// Owned by `parent` when there is one.
    explicit IProductConfigManager(QObject* parent = nullptr);
    ~IProductConfigManager() override;

    /// The product with this id.
    virtual config::ProductConfiguration GetProductConfigurationById(int id) = 0;

    /// The product with this key, compared exactly, on this server.
    virtual config::ProductConfiguration GetProductConfigurationByServerIdAndConsumerKey(
        int serverId, QString consumerKey) = 0;

    /// All products in the database's order; empty when the query fails.
    virtual QVector<config::ProductConfiguration> GetAll() = 0;

    /// Stores the fields under the record's id, but NULL as the consumer secret and no name-value
    /// properties, whatever the row held before.
    virtual bool Update(config::ProductConfiguration product) = 0;

    /// Stores a new product, its consumer secret in clear, and sets the record's id; false leaves
    /// the record unchanged.
    virtual bool Add(config::ProductConfiguration& product) = 0;

    /// Removes one row. Folders and files that refer to it are not touched.
    virtual bool Remove(int id) = 0;
};

} // namespace sync::interf
