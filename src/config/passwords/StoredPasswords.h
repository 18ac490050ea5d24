#pragma once
#include <core/PosixSync.h>

#include <config/PasswordContexts.h>
#include <database/TransactionalScope.h>

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

namespace sync::config {

/// A password as the table of sign-ins has it.
struct StoredPassword
{
    int signInId = -1;
    QByteArray value;
    QString domain;
    QString userName;
    int serverId = -1;

    core::crypto::SecretContext context(const PasswordContexts& contexts) const
    {
        return contexts.of(domain, userName, serverId);
    }
};

/// All passwords of the table; nothing if they cannot all be read.
std::optional<std::vector<StoredPassword>> readPasswords(
    interf::factory::IDatabaseFactory& factory);

/// Stores another value unless the password was changed meanwhile. The number of changed rows, or
/// -1 if that failed.
int replacePassword(
    interf::factory::IDatabaseFactory& factory, const StoredPassword& password,
    const QByteArray& value);

/// Takes the write lock of the store for the open transaction. Then nobody changes what a password
/// is bound to, nor the key under it, until it is stored. False if the lock is not available.
bool lockPasswords(interf::factory::IDatabaseFactory& factory);

/// Runs a write operation in its transaction scope. If the contexts of passwords are known, all
/// that it reads and writes is one transaction, which is rolled back if it returns `failed`.
template <typename Write, typename Result>
Result writeBound(interf::factory::IDatabaseFactory& factory, Result failed, Write write)
{
    struct Failed
    {
    };
    const PasswordContexts contexts(factory);
    try {
        database::TransactionalScope scope;
        if (!contexts.areKnown())
            return write(contexts);
        Result result = failed;
        {
            const database::TransactionalScope together;
            if (!lockPasswords(factory) || (result = write(contexts)) == failed ||
                contexts.failed())
                throw Failed(); // An exception is what rolls a scope back.
        }
        scope.commit();
        return scope.commitFailed() ? failed : result;
    } catch (const Failed&) {
        return failed;
    }
}

/// Keeps the passwords of a server's sign-ins readable while an operation of the host changes the
/// server on purpose.
class PasswordsOfServer
{
public:
    /// Remembers the passwords and where they belong now: those of a server or, without one, those
    /// whose server does not exist. The factory and `contexts` must outlive this.
    PasswordsOfServer(
        interf::factory::IDatabaseFactory& factory, const PasswordContexts& contexts,
        std::optional<int> serverId);

    /// Binds them to what the server is now. A password that could not be read before stays as it
    /// is. False if the database failed or the keys cannot be read.
    bool bindAgain() const;

private:
    bool _BindAgain(
        const StoredPassword& password, const core::crypto::SecretContext& before) const;

    struct Remembered
    {
        StoredPassword password;
        core::crypto::SecretContext context;
    };

    interf::factory::IDatabaseFactory& factory;
    const PasswordContexts& contexts;
    bool read = true;
    std::vector<Remembered> passwords;
};

} // namespace sync::config
