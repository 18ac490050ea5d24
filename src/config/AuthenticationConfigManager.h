#pragma once
#include <core/PosixSync.h>

#include <config/AuthenticationConfiguration.h>
#include <config/DatabaseConfigurationManager.h>
#include <interf/IAuthenticationConfigManager.h>

namespace sync::config {

/// Stores the sign-ins, their passwords encrypted.
/// What each operation answers is told by the interface. Keeps no state between calls: as
/// thread-safe as the factory it is given. core::crypto::setKeyStore() chooses the keys. Nothing is
/// thrown but core::crypto::KeyError, where a password is to be stored and there is no key.
class VELMIO_CONFIGURATION_EXPORT AuthenticationConfigManager
    : public interf::IAuthenticationConfigManager,
      public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    /// Keeps the factory, which must not be null. The manager has no parent.
    explicit AuthenticationConfigManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    ~AuthenticationConfigManager() override;

    // The first two stand in the order that the meta-object shows.
    Q_INVOKABLE sync::config::AuthenticationConfiguration GetAuthenticationConfigurationById(
        int authenticationConfigurationId) const override;
    Q_INVOKABLE sync::config::AuthenticationConfiguration
    GetAuthenticationConfigurationByDomainAndUser(QString domain, QString userName) const override;
    Q_INVOKABLE QVector<sync::config::AuthenticationConfiguration> GetAll() const override;
    bool Update(AuthenticationConfiguration signIn) override;
    bool Add(AuthenticationConfiguration& signIn) override;
    bool Remove(int id) override;
    QVector<AuthenticationConfiguration> GetDistinctAuthenticationConfigurations() override;
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
