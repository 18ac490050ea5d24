#pragma once
#include <core/PosixSync.h>

#include <config/AuthenticationConfiguration.h>
#include <config/DatabaseConfigurationManager.h>
#include <interf/IAuthenticationConfigManager.h>

namespace sync::config {

/// Stores the sign-ins, their passwords encrypted.
///
/// Keeps no state between calls: as thread-safe as the factory it is given. A lookup that finds
/// nothing or fails returns a record with id -1. The operations that store a password pass on
/// sync::core::crypto::KeyError when there is no key to encrypt it with; nothing is stored then.
class VELMIO_CONFIGURATION_EXPORT AuthenticationConfigManager
    : public interf::IAuthenticationConfigManager,
      public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    explicit AuthenticationConfigManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    ~AuthenticationConfigManager() override;

    // The first two stand in the order that the meta-object shows.
    Q_INVOKABLE sync::config::AuthenticationConfiguration GetAuthenticationConfigurationById(
        int authenticationConfigurationId) const override;

    /// The first sign-in of this user on this domain, as the database orders them.
    Q_INVOKABLE sync::config::AuthenticationConfiguration
    GetAuthenticationConfigurationByDomainAndUser(QString domain, QString userName) const override;

    /// All sign-ins in the database's order; empty when the query fails.
    Q_INVOKABLE QVector<sync::config::AuthenticationConfiguration> GetAll() const override;

    /// Stores every field under the record's id; false when that fails. True for an id that is not
    /// in the table, which changes nothing.
    bool Update(AuthenticationConfiguration signIn) override;

    /// Stores a new sign-in and sets its id; false when that fails, with the record unchanged.
    bool Add(AuthenticationConfiguration& signIn) override;

    /// Removes one row; true also when there was none. Folders that refer to it are not touched.
    bool Remove(int id) override;

    /// Each pair of domain and user name once, in records that hold nothing else; empty when the
    /// query fails.
    QVector<AuthenticationConfiguration> GetDistinctAuthenticationConfigurations() override;

    /// Gives a user on a domain a new password in all sign-ins. How many they were, or -1 when that
    /// fails.
    int UpdatePassword(QString domain, QString userName, QString password) override;

private:
    void _PopulateAuthenticationConfiguration(
        const RowReader& row, AuthenticationConfiguration& signIn) const;
    void _PopulateAuthenticationConfigurations(
        const RowReader& row, QVector<AuthenticationConfiguration>& signIns) const;
    void _PopulateDistinctAuthenticationConfigurations(
        const RowReader& row, QVector<AuthenticationConfiguration>& signIns) const;
};

} // namespace sync::config
