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

/// Reads and writes the servers that the client knows, and finds the server of other records.
///
/// A lookup returns a record with id -1 if it finds nothing or fails; of several matches it returns
/// the first in the database's order. A write returns false if the database fails, and true for an
/// id that is not in the table, which changes nothing.
class VELMIO_INTERFACES_EXPORT IServerConfigManager : public QObject
{
    Q_OBJECT

public:
    /// `parent` owns the manager, unless it is null.
    explicit IServerConfigManager(QObject* parent = nullptr);
    ~IServerConfigManager() override;

    /// The server with this id.
    virtual config::ServerConfiguration GetServerConfigById(long long id) = 0;

    /// The server with these two URLs, compared exactly. Removes one trailing "/" from each
    /// argument, so it does not find a server that Update() stored with one.
    virtual config::ServerConfiguration GetServerConfigByServers(
        QString davUrl, QString webServiceUrl) = 0;

    /// All servers in the database's order; empty if the query fails.
    virtual std::vector<config::ServerConfiguration> GetAll() = 0;

    /// Stores every field under the record's id, exactly as the record holds it.
    virtual bool Update(config::ServerConfiguration server) = 0;

    /// Stores a new server and sets the record's id; false leaves the record unchanged.
    ///
    /// Stores the alias that config::ServerConfiguration::getAlias() returns, and the URLs without
    /// one trailing "/"; the record keeps its own values.
    virtual bool Add(config::ServerConfiguration& server) = 0;

    /// Removes one row. Leaves the sign-ins and products that refer to it unchanged.
    virtual bool Remove(int id) = 0;

    /// The server that a sign-in is for.
    virtual config::ServerConfiguration GetServerConfigByAuthenticationId(long long id) = 0;

    /// The server of the sign-in of a folder.
    virtual config::ServerConfiguration GetServerConfigByFolderId(long long id) = 0;

    /// The server of the sign-in of an ordinary file's folder.
    virtual config::ServerConfiguration GetServerConfigByFileId(long long id) = 0;

    /// The server with the id in the user's settings, or with id 1 if they hold none.
    ///
    /// Reads "Velmio/DefaultServerConfigurationId" from the QSettings of the user for organisation
    /// "Corvanta" and application "Corvanta Sync". The library never writes it.
    virtual config::ServerConfiguration GetDefaultServerConfig() = 0;
};

} // namespace sync::interf
