#pragma once
#include <core/PosixSync.h>

#include <core/Crypto.h>
#include <core/Export.h>
#include <core/KeyStore.h>

#include <QByteArray>
#include <QVector>

#include <chrono>
#include <memory>

namespace sync::interf {
class IQSqlQueryWrapper;
namespace factory {
class IDatabaseFactory;
}
} // namespace sync::interf

namespace sync::config {

/// Manages the keys that encrypt the passwords in a configuration database.
///
/// Each stored value names its key and the kind of store that keeps the key. Every operation may
/// throw sync::core::crypto::KeyError. No operation loses a password if the process ends at any
/// moment: call the operation again to complete it.
class VELMIO_CONFIGURATION_EXPORT PasswordKeys
{
public:
    /// The result of a change for the stored passwords.
    struct Outcome
    {
        /// False if the database failed. No password was changed then.
        bool succeeded = false;
        /// The number of passwords that were encrypted again.
        int encrypted = 0;
        /// The sign-ins whose password cannot be decrypted. They were not changed.
        QVector<int> unreadableIds = {};
    };

    /// How long a replaced key stays in the store, because another process may still store a
    /// password with it.
    static constexpr std::chrono::hours DefaultKeyRest{24};

    /// Keeps the factory, which must not be null, and does not call it yet.
    explicit PasswordKeys(std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    ~PasswordKeys();

    PasswordKeys(const PasswordKeys&) = delete;
    PasswordKeys& operator=(const PasswordKeys&) = delete;

    /// Makes `store` the key store of the process, for a host that does not use the default.
    ///
    /// Throws KeyError and changes nothing if a password in the database uses a key of another kind
    /// of store, unless `otherBackend` accepts that. False if the database failed.
    bool use(
        std::shared_ptr<core::crypto::KeyStore> store,
        core::crypto::OtherBackend otherBackend = core::crypto::OtherBackend::Refuse);

    /// Creates a new key in the store of the process and encrypts all passwords with it. The
    /// previous key stays in the store until dropUnusedKeys().
    ///
    /// If an earlier change was interrupted, this completes it with the key of that change.
    Outcome changeKey();

    /// Encrypts all passwords with the key of another store and makes that the store of the
    /// process. The keys in the present store stay there.
    Outcome moveTo(std::shared_ptr<core::crypto::KeyStore> store);

    /// Removes the keys that were replaced at least `rest` ago and that no password uses. Returns
    /// their number, or -1 if the database failed.
    ///
    /// If `rest` is 0, no other process may store a password at the same time.
    int dropUnusedKeys(std::chrono::hours rest = DefaultKeyRest);

private:
    struct StoredPassword
    {
        int signInId = -1;
        QByteArray value;
    };
    struct StoredPasswords;

    StoredPasswords _ReadPasswords() const;
    Outcome _Encrypt(
        const QVector<core::crypto::KeyRing>& rings, const core::crypto::Key& key,
        core::crypto::KeyBackend backend) const;
    bool _Replace(const StoredPassword& password, const QByteArray& value, int& replaced) const;

    const std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory;
};

} // namespace sync::config
