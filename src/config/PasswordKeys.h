#pragma once
#include <core/PosixSync.h>

#include <core/Crypto.h>
#include <core/Export.h>
#include <core/KeyStore.h>

#include <QSet>
#include <QVector>

#include <chrono>
#include <memory>
#include <optional>

namespace sync::interf::factory {
class IDatabaseFactory;
}

namespace sync::config {

/// Manages the keys that encrypt the passwords in a configuration database.
///
/// Each stored value names its key and the kind of store that keeps the key. Every operation may
/// throw sync::core::crypto::KeyError. No operation loses a password if the process ends at any
/// moment: call the operation again to complete it.
///
/// With a factory that says which store it opens (database::IdentitySource), each password that is
/// encrypted is bound to where it belongs: see PasswordContexts. When all are, the key store notes
/// it, and from then on a password of the store that was put back from before is not read.
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

    /// Which passwords are encrypted again for where they are now, although they do not belong
    /// there.
    enum class Accept {
        Nothing, ///< None: they are reported as unreadable and left unchanged.
        Earlier, ///< Those that were put back from before a change, as by restoring a backup.
        Moved,   ///< Also those of another store, sign-in or server. Ask the user before.
    };

    /// Which keys dropUnusedKeys() keeps although no password of this database uses them.
    enum class OtherStores {
        Keep,   ///< Those that other databases may need, as far as the key store has notes.
        Ignore, ///< None. Passwords of other databases may be lost.
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
    Outcome changeKey(Accept accept = Accept::Nothing);

    /// Encrypts the passwords that do not use the current key, or are not bound, as changeKey()
    /// does, but creates no new key and notes nothing: the database may be a backup.
    Outcome useCurrentKey(Accept accept = Accept::Nothing);

    /// The sign-ins whose password was put back from before a change, and would be read otherwise:
    /// useCurrentKey(Accept::Earlier) takes them over. Nothing if the database failed.
    std::optional<QVector<int>> putBackIds() const;

    /// Encrypts all passwords with the key of another store and makes that the store of the
    /// process. The keys in the present store stay there.
    Outcome moveTo(std::shared_ptr<core::crypto::KeyStore> store);

    /// The keys that the passwords name; an empty id among them if one is too damaged to name its
    /// key, which may be any. Nothing if the database failed.
    std::optional<QSet<core::crypto::KeyId>> usedKeys() const;

    /// Removes the keys that were replaced at least `rest` ago and that no password uses, except
    /// those in `keep`. Returns their number, or -1 if the database failed.
    ///
    /// If `rest` is 0, no other process may store a password at the same time.
    int dropUnusedKeys(
        std::chrono::hours rest = DefaultKeyRest, const QSet<core::crypto::KeyId>& keep = {},
        OtherStores otherStores = OtherStores::Keep);

private:
    Outcome _Encrypt(
        const QVector<core::crypto::KeyRing>& rings, core::crypto::KeyStore& store, Accept accept);
    void _NoteStore(core::crypto::KeyStore& store) const;

    const std::shared_ptr<interf::factory::IDatabaseFactory> databaseFactory;
};

} // namespace sync::config
