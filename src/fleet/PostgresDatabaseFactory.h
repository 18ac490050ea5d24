#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <database/IdentitySource.h>

#include <QString>

#include <memory>

/// Stores in PostgreSQL: one database holds the stores of many clients.
namespace sync::fleet {

/// A store in a PostgreSQL database, which it shares with the other stores of the fleet.
class VELMIO_FLEET_EXPORT PostgresDatabaseFactory : public database::IdentitySource
{
public:
    /// Opens the store with this id, and makes the tables of the fleet and the store if they are
    /// missing. The first opening needs a login that may create roles; later ones need the role
    /// velmio_client, velmio_service or velmio_report.
    ///
    /// `connection` is what libpq takes: a URI or keywords, with one or several hosts
    /// (https://www.postgresql.org/docs/current/libpq-connect.html). Unless it says otherwise, a
    /// connection over TCP must be encrypted and the server's certificate must be valid
    /// (sslmode=verify-full), a statement may take 60 s (statement_timeout) and wait 5 s for
    /// another writer of the store (lock_timeout).
    ///
    /// Throws DatabaseError, whose text contains no password.
    static std::shared_ptr<PostgresDatabaseFactory> open(
        const QString& connection, const QString& storeId);

    ~PostgresDatabaseFactory() override;

    /// The id that the store was opened with.
    QString storeId() const override;

private:
    explicit PostgresDatabaseFactory(const QString& storeId);

    const QString ownStoreId;
};

} // namespace sync::fleet
