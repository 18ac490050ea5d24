#pragma once
#include <core/PosixSync.h>

#include <config/DatabaseConfigurationManager.h>
#include <config/ServerConfiguration.h>
#include <interf/IServerConfigManager.h>

namespace sync::config {

/// Stores the servers that the client knows, and finds the one behind a sign-in, folder or file.
/// What each operation answers is told by the interface. Keeps no state between calls: as
/// thread-safe as the factory it is given. Nothing is thrown.
class VELMIO_CONFIGURATION_EXPORT ServerConfigManager : public interf::IServerConfigManager,
                                                        public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    /// Keeps the factory, which must not be null. The manager has no parent.
    explicit ServerConfigManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    ~ServerConfigManager() override;

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
    void _PopulateServerConfig(const RowReader& row, ServerConfiguration& server);
    void _PopulateServerConfigurations(
        const RowReader& row, std::vector<ServerConfiguration>& servers);
    QString _ChopUrl(QString url);
};

} // namespace sync::config
