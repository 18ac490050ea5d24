#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <core/SecretContext.h>

#include <QString>

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace sync::config {

/// Where the passwords of a store belong: what core::crypto::Encrypt() binds each one to.
///
/// A password belongs to its store, to the domain and user of its sign-in, and to the id and the
/// origins of its server: scheme, host and port of both URLs. The id of the sign-in does not count,
/// because an INSERT cannot know it, and one statement changes a password in several sign-ins.
///
/// The contexts are known if the factory is a database::IdentitySource; otherwise all are empty and
/// no statement runs. Used by one thread at a time.
class VELMIO_CONFIGURATION_EXPORT PasswordContexts
{
public:
    /// The factory must outlive this.
    explicit PasswordContexts(interf::factory::IDatabaseFactory& databaseFactory);

    /// True if the factory says which store it opens.
    bool areKnown() const { return !identity.isEmpty(); }

    /// The id of the store; empty if it is not known.
    const QString& storeId() const { return identity; }

    /// The context of a sign-in. Reads the URLs of the server as they are now; a server that does
    /// not exist or cannot be read has none. See failed().
    core::crypto::SecretContext of(
        const QString& domain, const QString& userName, int serverId) const;

    /// The context of all sign-ins with this domain and user, at any server.
    core::crypto::SecretContext ofAll(const QString& domain, const QString& userName) const;

    /// True if the database has failed in a call of this object. Encrypt nothing for what that call
    /// returned: the password could not be read again.
    bool failed() const { return anyFailure; }

private:
    QByteArray _Server(int id) const;

    interf::factory::IDatabaseFactory& databaseFactory;
    const QString identity;
    mutable bool anyFailure = false;
};

} // namespace sync::config
