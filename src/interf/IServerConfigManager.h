#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QObject>
#include <QString>

#include <vector>

namespace sync::config {
class ServerConfiguration;
}

namespace sync::interf {

/// Reads and writes the servers that the client knows.
///
/// A lookup that finds nothing or fails returns a record with id -1.
class VELMIO_INTERFACES_EXPORT IServerConfigManager : public QObject
{
    Q_OBJECT

public:
    explicit IServerConfigManager(QObject* parent = nullptr);
    ~IServerConfigManager() override;

    virtual config::ServerConfiguration GetServerConfigById(long long id) = 0;
    virtual config::ServerConfiguration GetServerConfigByServers(
        QString davUrl, QString webServiceUrl) = 0;
    virtual std::vector<config::ServerConfiguration> GetAll() = 0;
    virtual bool Update(config::ServerConfiguration server) = 0;
    virtual bool Add(config::ServerConfiguration& server) = 0;
    virtual bool Remove(int id) = 0;
    virtual config::ServerConfiguration GetServerConfigByAuthenticationId(long long id) = 0;
    virtual config::ServerConfiguration GetServerConfigByFolderId(long long id) = 0;
    virtual config::ServerConfiguration GetServerConfigByFileId(long long id) = 0;
    virtual config::ServerConfiguration GetDefaultServerConfig() = 0;
};

} // namespace sync::interf
