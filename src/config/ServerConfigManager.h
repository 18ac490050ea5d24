#pragma once
#include <core/PosixSync.h>

#include <config/DatabaseConfigurationManager.h>
#include <config/ServerConfiguration.h>
#include <interf/IServerConfigManager.h>

namespace sync::config {

/// Stores the servers that the client knows, and finds the one behind a sign-in, folder or file.
///
/// Keeps no state between calls: as thread-safe as the factory it is given. Nothing is thrown: a
/// lookup that finds nothing or fails returns a record with id -1.
class VELMIO_CONFIGURATION_EXPORT ServerConfigManager : public interf::IServerConfigManager,
                                                        public DatabaseConfigurationManager
{
    Q_OBJECT

public:
    explicit ServerConfigManager(
        std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    ~ServerConfigManager() override;

    ServerConfiguration GetServerConfigById(long long id) override;

    /// The server with these two URLs; one trailing "/" of each argument is not looked at.
    ServerConfiguration GetServerConfigByServers(QString davUrl, QString webServiceUrl) override;

    /// All servers in the database's order; empty when the query fails.
    std::vector<ServerConfiguration> GetAll() override;

    /// Stores every field exactly as the record holds it; false when that fails. True for an id
    /// that is not in the table, which changes nothing.
    bool Update(ServerConfiguration server) override;

    /// Stores a new server and sets its id. The alias is stored as getAlias() gives it, the URLs
    /// without one trailing "/". False when that fails, with the record unchanged.
    bool Add(ServerConfiguration& server) override;

    /// Removes one row; true also when there was none. Sign-ins that refer to it are not touched.
    bool Remove(int id) override;

    ServerConfiguration GetServerConfigByAuthenticationId(long long id) override;
    ServerConfiguration GetServerConfigByFolderId(long long id) override;
    ServerConfiguration GetServerConfigByFileId(long long id) override;

    /// The server that the user setting "DefaultServerConfigurationId" names, or the one with id 1
    /// without that setting.
    ServerConfiguration GetDefaultServerConfig() override;

private:
    ServerConfiguration _ReadOneById(const QString& sql, long long id);
    void _PopulateServerConfig(const RowReader& row, ServerConfiguration& server);
    void _PopulateServerConfigurations(
        const RowReader& row, std::vector<ServerConfiguration>& servers);
    QString _ChopUrl(QString url);
};

} // namespace sync::config
