#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QObject>
#include <QString>

namespace sync::config {

/// One product of the client that is registered with a server.
///
/// A value: a copy is a new object with the same fields and without a parent. A new record has id
/// -1 and empty texts. Only one thread at a time may use a record. The record does not hold the
/// name-value properties of its row, and writing it empties them.
class VELMIO_CONFIGURATION_EXPORT ProductConfiguration : public QObject
{
    Q_OBJECT
    // clang-format off
    /// For the meta-object: each property uses the accessors of its name. @{
    Q_PROPERTY(int     Id             READ getId)
    Q_PROPERTY(QString Name           READ getName           WRITE setName)
    Q_PROPERTY(QString ConsumerKey    READ getConsumerKey    WRITE setConsumerKey)
    Q_PROPERTY(QString ConsumerSecret READ getConsumerSecret WRITE setConsumerSecret)
    Q_PROPERTY(int     ServerId       READ getServerId       WRITE setServerId)
    ///@}
    // clang-format on

public:
    /// A record with the default of each field.
    ProductConfiguration();
    ~ProductConfiguration() override;

    /// Copies and moves every field, but not the parent. Only assign to or destroy a record after
    /// it was moved from. @{
    ProductConfiguration(const ProductConfiguration& other);
    ProductConfiguration(ProductConfiguration&& other) noexcept;
    ProductConfiguration& operator=(const ProductConfiguration& other);
    ProductConfiguration& operator=(ProductConfiguration&& other) noexcept;
    ///@}

    /// -1 for a record that is not in the database.
    int getId() const { return members.id; }

    /// The name to show. @{
    QString getName() const { return members.name; }
    void setName(QString value) { members.name = std::move(value); }
    ///@}

    /// The key that the product presents to the server. @{
    QString getConsumerKey() const { return members.consumerKey; }
    void setConsumerKey(QString value) { members.consumerKey = std::move(value); }
    ///@}

    /// The secret that goes with the key. Stored in clear, and only when the product is added. @{
    QString getConsumerSecret() const { return members.consumerSecret; }
    void setConsumerSecret(QString value) { members.consumerSecret = std::move(value); }
    ///@}

    /// The server that the product is registered with; 0 in a new record. @{
    int getServerId() const { return members.serverId; }
    void setServerId(int value) { members.serverId = value; }
    ///@}

private:
    friend class ProductConfigManager;

    /// All that a copy copies.
    struct Members
    {
        int id = -1;
        QString name;
        QString consumerKey;
        QString consumerSecret;
        int serverId = 0;
    };

    void _CopyMembers(const ProductConfiguration& other) { members = other.members; }

    Members members;
};

} // namespace sync::config
