#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QObject>
#include <QString>
#include <QVector>

namespace sync::config {
class AuthenticationConfiguration;
}

namespace sync::interf {

/// Reads and writes the stored sign-ins.
///
/// A lookup that finds nothing or fails returns a record with id -1; of several matches it returns
/// the first in the database's order. A write returns false when the database fails, and true for
/// an id that is not in the table, which changes nothing. Records hold passwords in clear, the
/// database holds them encrypted: what stores one passes on core::crypto::KeyError when there is no
/// key to encrypt it with, and stores nothing then.
class VELMIO_INTERFACES_EXPORT IAuthenticationConfigManager : public QObject
{
    Q_OBJECT

public:
    /// Owned by `parent` when there is one.
    explicit IAuthenticationConfigManager(QObject* parent = nullptr);
    ~IAuthenticationConfigManager() override;

    /// The sign-in of this user on this domain, both compared exactly.
    virtual config::AuthenticationConfiguration GetAuthenticationConfigurationByDomainAndUser(
        QString domain, QString userName) const = 0;

    /// The sign-in with this id. Its password is null when it cannot be decrypted.
    virtual config::AuthenticationConfiguration GetAuthenticationConfigurationById(
        int id) const = 0;

    /// All sign-ins in the database's order; empty when the query fails.
    virtual QVector<config::AuthenticationConfiguration> GetAll() const = 0;

    /// Stores every field under the record's id.
    virtual bool Update(config::AuthenticationConfiguration signIn) = 0;

    /// Stores a new sign-in and sets the record's id; false leaves the record unchanged.
    virtual bool Add(config::AuthenticationConfiguration& signIn) = 0;

    /// Removes one row. Folders that refer to it are not touched.
    virtual bool Remove(int id) = 0;

    /// Each pair of domain and user name once, in records that hold nothing else (id -1, no
    /// password); empty when the query fails.
    virtual QVector<config::AuthenticationConfiguration>
    GetDistinctAuthenticationConfigurations() = 0;

    /// Gives a user on a domain a new password in all sign-ins, and returns how many they were: 0
    /// when there is none, -1 when the database fails.
    virtual int UpdatePassword(QString domain, QString userName, QString password) = 0;
};

} // namespace sync::interf
