#pragma once
#include <core/PosixSync.h>

#include <config/DatabaseConfigurationManager.h>
#include <config/ServerConfiguration.h>
#include <interf/IServerConfigManager.h>

namespace sync::config {

/// Stores the servers that the client knows, and finds the server of a sign-in, folder or file.
///
/// The interface documents each operation. The manager keeps no state between calls, so it is as
/// thread-safe as its factory. It throws nothing.
///
/// Over a database::IdentitySource, a write binds the passwords of the server's sign-ins to its new
/// addresses in the same transaction. It returns false and changes nothing if their keys cannot be
/// read. A password whose key is lost stays as it is.
class VELMIO_CONFIGURATION_EXPORT ServerConfigManager : public interf::IServerConfigManager,
                                                        public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    using DatabaseConfigurationManager::DatabaseConfigurationManager;

    ServerConfiguration GetServerConfigById(long long id) override;
    ServerConfiguration GetServerConfigByServers(QString davUrl, QString webServiceUrl) override;
    std::vector<ServerConfiguration> GetAll() override;
    bool Update(ServerConfiguration server) override;
    bool Add(ServerConfiguration& server) override;
    bool Remove(int id) override;
    ServerConfiguration GetServerConfigByAuthenticationId(long long id) override;
    ServerConfiguration GetServerConfigByFolderId(long long id) override;
    ServerConfiguration GetServerConfigByFileId(long long id) override;
    ServerConfiguration GetDefaultServerConfig() override;

private:
    ServerConfiguration _ReadOneById(const QString& sql, long long id);
    void _PopulateServerConfig(const RowReader& row, ServerConfiguration& server) const;
    QString _ChopUrl(QString url);
};

} // namespace sync::config
