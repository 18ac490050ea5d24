#pragma once
#include <core/PosixSync.h>

#include <config/AuthenticationConfiguration.h>
#include <config/DatabaseConfigurationManager.h>
#include <interf/IAuthenticationConfigManager.h>

namespace sync::config {

/// Stores the sign-ins, with encrypted passwords.
///
/// The interface documents each operation. The manager keeps no state between calls, so it is as
/// thread-safe as its factory. core::crypto::setKeyStore() chooses the keys. The manager throws
/// only core::crypto::KeyError, if it has to store a password and there is no key.
///
/// Over a database::IdentitySource, a password is bound to where it belongs (PasswordContexts): one
/// that was moved, or whose server got another address without the managers, is null.
class VELMIO_CONFIGURATION_EXPORT AuthenticationConfigManager
    : public interf::IAuthenticationConfigManager,
      public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    using DatabaseConfigurationManager::DatabaseConfigurationManager;

    // The first two are in the order of the meta-object, not of the interface.
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
    void _PopulateDistinctAuthenticationConfiguration(
        const RowReader& row, AuthenticationConfiguration& signIn) const;
};

} // namespace sync::config
