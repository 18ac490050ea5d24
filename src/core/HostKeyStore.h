#pragma once
#include <core/PosixSync.h>

#include <core/KeyStore.h>

namespace sync::core::crypto {

/// Keys that the host passes in and stores itself. They do not change. To change the key, the host
/// creates a new store with the new key as the current one and the old key as an earlier one.
class VELMIO_CORE_EXPORT HostKeyStore : public KeyStore
{
public:
    /// Each key is 32 random bytes; throws KeyError for another size. The host wipes its own copy.
    explicit HostKeyStore(const QByteArray& currentKey, const QList<QByteArray>& earlierKeys = {});

    KeyBackend backend() const override { return KeyBackend::Host; }
    KeyRing read() override { return ring; }

    /// Throws KeyError unless `change` returns the same keys.
    KeyRing change(const Change& change) override;

private:
    KeyRing ring;
};

} // namespace sync::core::crypto
