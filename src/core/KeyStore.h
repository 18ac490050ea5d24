#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <core/KeyError.h>
#include <core/KeyRing.h>

#include <functional>

namespace sync::core::crypto {

/// The kind of place that stores keys. Every stored password names it.
enum class KeyBackend : quint8 {
    File = 1,     ///< A file of the user, see FileKeyStore.
    Keychain = 2, ///< The operating system's keychain, see KeychainKeyStore.
    Host = 3,     ///< The host program itself, see HostKeyStore.
};

/// The name for a person, such as "the key file".
VELMIO_CORE_EXPORT QString backendName(KeyBackend backend);

/// A store of the keys that encrypt passwords. Any thread may use it.
class VELMIO_CORE_EXPORT KeyStore
{
public:
    /// Returns the changed ring. May throw, and then the store does not change.
    using Change = std::function<KeyRing(const KeyRing& ring)>;

    virtual ~KeyStore();

    /// The kind of place that this store uses.
    virtual KeyBackend backend() const = 0;

    /// The current keys; an empty ring if there are none yet. Throws KeyError if they cannot be
    /// read.
    virtual KeyRing read() = 0;

    /// Replaces the ring by the result of `change`, in one durable step that excludes other threads
    /// and processes, and returns the new ring.
    ///
    /// Throws KeyError and does not change the store if that fails.
    virtual KeyRing change(const Change& change) = 0;

    /// The keys to encrypt with; the first use creates one. Never an empty ring; throws KeyError.
    virtual KeyRing readOrCreate();
};

} // namespace sync::core::crypto
