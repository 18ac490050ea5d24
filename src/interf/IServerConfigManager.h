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

/// Reads and writes the servers that the client knows, and finds the one behind other records.
///
/// A lookup that finds nothing or fails returns a record with id -1; of several matches it returns
/// the first in the database's order. A write returns false when the database fails, and true for
/// an id that is not in the table, which changes nothing.
class VELMIO_INTERFACES_EXPORT IServerConfigManager : public QObject
{
    Q_OBJECT

public:
    /// Owned by `parent` when there is one.
    explicit IServerConfigManager(QObject* parent = nullptr);
    ~IServerConfigManager() override;

    /// The server with this id.
    virtual config::ServerConfiguration GetServerConfigById(long long id) = 0;

    /// The server with these two URLs, compared exactly. One trailing "/" of each argument is not
    /// looked at, so a server that Update() stored with one is not found.
    virtual config::ServerConfiguration GetServerConfigByServers(
        QString davUrl, QString webServiceUrl) = 0;

    /// All servers in the database's order; empty when the query fails.
    virtual std::vector<config::ServerConfiguration> GetAll() = 0;

    /// Stores every field under the record's id, exactly as the record holds it.
    virtual bool Update(config::ServerConfiguration server) = 0;

    /// Stores a new server and sets the record's id; false leaves the record unchanged.
    ///
    /// The alias is stored as config::ServerConfiguration::getAlias() gives it, and the URLs
    /// without one trailing "/"; the record keeps its own.
    virtual bool Add(config::ServerConfiguration& server) = 0;

    /// Removes one row. Sign-ins and products that refer to it are not touched.
    virtual bool Remove(int id) = 0;

    /// The server that a sign-in is for.
    virtual config::ServerConfiguration GetServerConfigByAuthenticationId(long long id) = 0;

    /// The server of the sign-in that a folder is synchronised with.
    virtual config::ServerConfiguration GetServerConfigByFolderId(long long id) = 0;

    /// The server of the sign-in that an ordinary file's folder is synchronised with.
    virtual config::ServerConfiguration GetServerConfigByFileId(long long id) = 0;

    /// The server whose id the user's settings name, or the one with id 1 when they name none.
    ///
    /// Reads "Velmio/DefaultServerConfigurationId" from the QSettings of the user for organisation
    /// "Corvanta" and application "Corvanta Sync". Nothing here writes it.
    virtual config::ServerConfiguration GetDefaultServerConfig() = 0;
};

} // namespace sync::interf
