#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QMap>
#include <QObject>
#include <QString>

namespace sync::config {

/// One stored sign-in: a user's name and password for a domain on a server.
///
/// A value: copies are new objects without parent that hold the same fields. A new record has id -1
/// and empty texts. One record is used by one thread at a time. The password is in clear here, and
/// only here.
class VELMIO_CONFIGURATION_EXPORT AuthenticationConfiguration : public QObject
{
    Q_OBJECT
    // clang-format off
    /// For the meta-object: each stands for the accessors of its name. @{
    Q_PROPERTY(int     Id       READ getId       WRITE setId)
    Q_PROPERTY(QString Domain   READ getDomain   WRITE setDomain)
    Q_PROPERTY(QString DomainId READ getDomainId WRITE setDomainId)
    Q_PROPERTY(QString UserName READ getUserName WRITE setUserName)
    Q_PROPERTY(QString Password READ getPassword WRITE setPassword)
    Q_PROPERTY(int     ServerId READ getServerId WRITE setServerId)
    ///@}
    // clang-format on

public:
    /// A record with the defaults that the getters name.
    AuthenticationConfiguration();
    ~AuthenticationConfiguration() override;

    /// Takes along every field, but no parent. A record that was moved from is to be assigned or
    /// destroyed only. @{
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

    /// The password, in clear. Null when the stored one cannot be decrypted. @{
    QString getPassword() const { return members.password; }
    void setPassword(QString value) { members.password = std::move(value); }
    ///@}

    /// The server that the sign-in is for; 0 in a new record. @{
    int getServerId() const { return members.serverId; }
    void setServerId(int value) { members.serverId = value; }
    ///@}

    /// Settings that have no column of their own, by key. A key has to be an XML name; see
    /// DatabaseConfigurationManager::ToNameValuePropertyString(). @{
    QMap<QString, QString> getNameValueProperties() const { return members.nameValueProperties; }
    void setNameValueProperties(QMap<QString, QString> value)
    {
        members.nameValueProperties = std::move(value);
    }
    ///@}

private:
    friend class AuthenticationConfigManager;

    /// All that a copy takes along.
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
