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
/// A lookup returns a record with id -1 if it finds nothing or fails; of several matches it returns
/// the first in the database's order. A write returns false if the database fails, and true for an
/// id that is not in the table, which changes nothing.
class VELMIO_INTERFACES_EXPORT IProductConfigManager : public QObject
{
    Q_OBJECT

public:
    /// `parent` owns the manager, unless it is null.
    explicit IProductConfigManager(QObject* parent = nullptr);
    ~IProductConfigManager() override;

    /// The product with this id.
    virtual config::ProductConfiguration GetProductConfigurationById(int id) = 0;

    /// The product with this key, compared exactly, on this server.
    virtual config::ProductConfiguration GetProductConfigurationByServerIdAndConsumerKey(
        int serverId, QString consumerKey) = 0;

    /// All products in the database's order; empty if the query fails.
    virtual QVector<config::ProductConfiguration> GetAll() = 0;

    /// Stores the fields under the record's id. Sets the consumer secret to NULL and removes the
    /// name-value properties of the row.
    virtual bool Update(config::ProductConfiguration product) = 0;

    /// Stores a new product, its consumer secret in clear, and sets the record's id; false leaves
    /// the record unchanged.
    virtual bool Add(config::ProductConfiguration& product) = 0;

    /// Removes one row. Leaves the folders and files that refer to it unchanged.
    virtual bool Remove(int id) = 0;
};

} // namespace sync::interf
