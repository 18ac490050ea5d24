#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <core/KeyError.h>
#include <core/KeyRing.h>

#include <functional>

namespace sync::core::crypto {

/// The kind of place that keeps keys. Every stored password names it.
enum class KeyBackend : quint8 {
    File = 1,     ///< A file of the user, see FileKeyStore.
    Keychain = 2, ///< The operating system's keychain, see KeychainKeyStore.
    Host = 3,     ///< The host program itself, see HostKeyStore.
};

/// A name for a person, such as "the key file".
VELMIO_CORE_EXPORT QString backendName(KeyBackend backend);

/// Where the keys live that passwords are encrypted with. Any thread may use it.
class VELMIO_CORE_EXPORT KeyStore
{
public:
    /// What becomes of a ring. May throw, which leaves the store as it is.
    using Change = std::function<KeyRing(const KeyRing& ring)>;

    virtual ~KeyStore();

    /// The kind of place that this store keeps keys in.
    virtual KeyBackend backend() const = 0;

    /// The keys as they are now; an empty ring when there are none yet. Throws KeyError when that
    /// cannot be told.
    virtual KeyRing read() = 0;

    /// Replaces the ring by what `change` makes of it, in one durable step that no other thread or
    /// process comes between, and returns the ring that is in force then.
    ///
    /// Throws KeyError and leaves the store as it is when that fails.
    virtual KeyRing change(const Change& change) = 0;

    /// The keys, made on first use. Never an empty ring; throws KeyError.
    KeyRing readOrCreate();
};

} // namespace sync::core::crypto
