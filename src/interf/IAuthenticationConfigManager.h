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
/// A lookup returns a record with id -1 if it finds nothing or fails; of several matches it returns
/// the first in the database's order. A write returns false if the database fails, and true for an
/// id that is not in the table, which changes nothing. Records hold passwords in clear, and
/// the database holds them encrypted. An operation that stores a password throws
/// core::crypto::KeyError and stores nothing if there is no key to encrypt it with.
class VELMIO_INTERFACES_EXPORT IAuthenticationConfigManager : public QObject
{
    Q_OBJECT

public:
    /// `parent` owns the manager, unless it is null.
    explicit IAuthenticationConfigManager(QObject* parent = nullptr);
    ~IAuthenticationConfigManager() override;

    /// The sign-in of this user on this domain, both compared exactly.
    virtual config::AuthenticationConfiguration GetAuthenticationConfigurationByDomainAndUser(
        QString domain, QString userName) const = 0;

    /// The sign-in with this id. Its password is null if it cannot be decrypted.
    virtual config::AuthenticationConfiguration GetAuthenticationConfigurationById(
        int id) const = 0;

    /// All sign-ins in the database's order; empty if the query fails.
    virtual QVector<config::AuthenticationConfiguration> GetAll() const = 0;

    /// Stores every field under the record's id.
    virtual bool Update(config::AuthenticationConfiguration signIn) = 0;

    /// Stores a new sign-in and sets the record's id; false leaves the record unchanged.
    virtual bool Add(config::AuthenticationConfiguration& signIn) = 0;

    /// Removes one row. Leaves the folders that refer to it unchanged.
    virtual bool Remove(int id) = 0;

    /// Each pair of domain and user name once, in records without other fields (id -1, no
    /// password); empty if the query fails.
    virtual QVector<config::AuthenticationConfiguration>
    GetDistinctAuthenticationConfigurations() = 0;

    /// Changes the password in all sign-ins of a user on a domain, and returns their number; 0 if
    /// there are none, -1 if the database fails.
    virtual int UpdatePassword(QString domain, QString userName, QString password) = 0;
};

} // namespace sync::interf
