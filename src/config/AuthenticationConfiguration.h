#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QMap>
#include <QObject>
#include <QString>

namespace sync::config {

/// One stored sign-in: a user's name and password for a domain on a server.
///
/// A value: a copy is a new object with the same fields and without a parent. A new record has id
/// -1 and empty texts. Only one thread at a time may use a record. Only this record holds the
/// password in clear.
class VELMIO_CONFIGURATION_EXPORT AuthenticationConfiguration : public QObject
{
    Q_OBJECT
    // clang-format off
    /// For the meta-object: each property uses the accessors of its name. @{
    Q_PROPERTY(int     Id       READ getId       WRITE setId)
    Q_PROPERTY(QString Domain   READ getDomain   WRITE setDomain)
    Q_PROPERTY(QString DomainId READ getDomainId WRITE setDomainId)
    Q_PROPERTY(QString UserName READ getUserName WRITE setUserName)
    Q_PROPERTY(QString Password READ getPassword WRITE setPassword)
    Q_PROPERTY(int     ServerId READ getServerId WRITE setServerId)
    ///@}
    // clang-format on

public:
    /// A record with the default of each field.
    AuthenticationConfiguration();
    ~AuthenticationConfiguration() override;

    /// Copies and moves every field, but not the parent. Only assign to or destroy a record after
    /// it was moved from. @{
    AuthenticationConfiguration(const AuthenticationConfiguration& other);
    AuthenticationConfiguration(AuthenticationConfiguration&& other) noexcept;
    AuthenticationConfiguration& operator=(const AuthenticationConfiguration& other);
    AuthenticationConfiguration& operator=(AuthenticationConfiguration&& other) noexcept;
    ///@}

    /// -1 for a record that is not in the database. @{
    int getId() const { return members.id; }
    void setId(int value) { members.id = value; }
    ///@}

    /// The domain that the user signs in to. @{
    QString getDomain() const { return members.domain; }
    void setDomain(QString value) { members.domain = std::move(value); }
    ///@}

    /// The server's identifier of the domain. A text, not a number. @{
    QString getDomainId() const { return members.domainId; }
    void setDomainId(QString value) { members.domainId = std::move(value); }
    ///@}

    /// The user's name on the domain. @{
    QString getUserName() const { return members.userName; }
    void setUserName(QString value) { members.userName = std::move(value); }
    ///@}

    /// The password, in clear. Null if the stored one cannot be decrypted. @{
    QString getPassword() const { return members.password; }
    void setPassword(QString value) { members.password = std::move(value); }
    ///@}

    /// The server that the sign-in is for; 0 in a new record. @{
    int getServerId() const { return members.serverId; }
    void setServerId(int value) { members.serverId = value; }
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
    friend class AuthenticationConfigManager;

    /// All that a copy copies.
    struct Members
    {
        int id = -1;
        QString domain;
        QString domainId;
        QString userName;
        QString password;
        int serverId = 0;
        QMap<QString, QString> nameValueProperties;
    };

    void _CopyMembers(const AuthenticationConfiguration& other) { members = other.members; }

    Members members;
};

} // namespace sync::config
