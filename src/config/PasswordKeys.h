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

/// Cares for the keys that the passwords in a configuration database are encrypted with.
///
/// The values themselves tell the key and the kind of store that keeps it; nothing else is
/// recorded. Every operation passes on sync::core::crypto::KeyError, and none loses a password when
/// the process dies at any moment: what it began is finished by calling it again.
class VELMIO_CONFIGURATION_EXPORT PasswordKeys
{
public:
    /// What became of the stored passwords.
    struct Outcome
    {
        /// False when the database failed. No password was changed then.
        bool succeeded = false;
        /// How many passwords were encrypted anew.
        int encrypted = 0;
        /// The sign-ins whose password cannot be deciphered. They were left as they are.
        QVector<int> unreadableIds = {};
    };

    /// How long a key stays after it was replaced, so that no other process still stores a password
    /// under it.
    static constexpr std::chrono::hours DefaultKeyRest{24};

    /// Keeps the factory, which must not be null, and asks it nothing yet.
    explicit PasswordKeys(std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory);
    ~PasswordKeys();

    PasswordKeys(const PasswordKeys&) = delete;
    PasswordKeys& operator=(const PasswordKeys&) = delete;

    /// Makes `store` the key store of the process, for a host that uses another than the default.
    ///
    /// Throws KeyError and changes nothing when a password of the database lies under a key that
    /// another kind of store keeps, unless that is accepted. False when the database failed.
    bool use(
        std::shared_ptr<core::crypto::KeyStore> store,
        core::crypto::OtherBackend otherBackend = core::crypto::OtherBackend::Refuse);

    /// Makes a new key in the store of the process and encrypts all passwords with it. The earlier
    /// key stays in the store until dropUnusedKeys().
    ///
    /// Where an earlier change was cut short, it is finished with the key that was made then.
    Outcome changeKey();

    /// Encrypts all passwords with the key of another store and makes that the store of the
    /// process. The keys in the present store stay there.
    Outcome moveTo(std::shared_ptr<core::crypto::KeyStore> store);

    /// Drops the keys that were replaced at least `rest` ago and that no password uses. How many
    /// they were, or -1 when the database failed.
    ///
    /// With no `rest` no other process may be storing a password meanwhile.
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
