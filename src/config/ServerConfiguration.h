#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QMap>
#include <QObject>
#include <QString>

namespace sync::config {

/// One server that the client synchronises with.
///
/// A value: a copy is a new object with the same fields and without a parent. A new record has id
/// -1 and empty texts. Only one thread at a time may use a record.
class VELMIO_CONFIGURATION_EXPORT ServerConfiguration : public QObject
{
    Q_OBJECT
    // clang-format off
    /// For the meta-object: each property uses the accessors of its name. @{
    Q_PROPERTY(int     Id                READ getId)
    Q_PROPERTY(QString Alias             READ getAlias             WRITE setAlias)
    Q_PROPERTY(QString DavUrl            READ getDavUrl            WRITE setDavUrl)
    Q_PROPERTY(QString WebServiceUrl     READ getWebServiceUrl     WRITE setWebServiceUrl)
    Q_PROPERTY(QString BinaryDiffEncoder READ getBinaryDiffEncoder WRITE setBinaryDiffEncoder)
    ///@}
    // clang-format on

public:
    /// A record with the default of each field.
    ServerConfiguration();
    ~ServerConfiguration() override;

    /// Copies and moves every field, but not the parent. Only assign to or destroy a record after
    /// it was moved from. @{
    ServerConfiguration(const ServerConfiguration& other);
    ServerConfiguration(ServerConfiguration&& other) noexcept;
    ServerConfiguration& operator=(const ServerConfiguration& other);
    ServerConfiguration& operator=(ServerConfiguration&& other) noexcept;
    ///@}

    /// -1 for a record that is not in the database.
    int getId() const { return members.id; }

    /// The name to show: the alias, or the first label of the web service's host without an alias.
    ///
    /// For a host without a dot it is the whole authority, with user information and port. The
    /// setter stores the alias unchanged; after an empty alias the getter computes the name again.
    /// @{
    QString getAlias() const;
    void setAlias(QString value) { members.alias = std::move(value); }
    ///@}

    /// URL of the DAV endpoint. @{
    QString getDavUrl() const { return members.davUrl; }
    void setDavUrl(QString value) { members.davUrl = std::move(value); }
    ///@}

    /// URL of the web-service endpoint. @{
    QString getWebServiceUrl() const { return members.webServiceUrl; }
    void setWebServiceUrl(QString value) { members.webServiceUrl = std::move(value); }
    ///@}

    /// The encoder for binary differences that the server uses. @{
    QString getBinaryDiffEncoder() const { return members.binaryDiffEncoder; }
    void setBinaryDiffEncoder(QString value) { members.binaryDiffEncoder = std::move(value); }
    ///@}

    /// Settings without a column of their own, by key. The setter stores any; call isStorable()
    /// before they are stored in the database. @{
    QMap<QString, QString> getNameValueProperties() const { return members.nameValueProperties; }
    void setNameValueProperties(QMap<QString, QString> value)
    {
        members.nameValueProperties = std::move(value);
    }
    ///@}

    /// True if the properties come back from the database exactly as they are. Otherwise Add() and
    /// Update() also return true, but properties are lost or, by injection, forged: see
    /// DatabaseConfigurationManager::ToNameValuePropertyString().
    bool isStorable() const;

private:
    friend class ServerConfigManager;

    /// All that a copy copies.
    struct Members
    {
        int id = -1;
        QString alias;
        QString davUrl;
        QString webServiceUrl;
        QString binaryDiffEncoder;
        QMap<QString, QString> nameValueProperties;
    };

    void _CopyMembers(const ServerConfiguration& other) { members = other.members; }
    QString _GetHost(QString url) const;

    Members members;
};

} // namespace sync::config
