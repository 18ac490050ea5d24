#pragma once
#include <core/PosixSync.h>

#include <core/KeyStore.h>

namespace sync::core::crypto {

/// Keys that the host hands over and keeps itself. They do not change; to change the key, the host
/// makes a new store with the new key as the current one and the old one among the earlier ones.
class VELMIO_CORE_EXPORT HostKeyStore : public KeyStore
{
public:
    /// Each key is 32 random bytes; throws KeyError for another size. The host wipes its own copy.
    explicit HostKeyStore(const QByteArray& currentKey, const QList<QByteArray>& earlierKeys = {});

    KeyBackend backend() const override { return KeyBackend::Host; }
    KeyRing read() override { return ring; }

    /// Throws KeyError unless `change` leaves the ring as it is.
    KeyRing change(const Change& change) override;

private:
    KeyRing ring;
};

} // namespace sync::core::crypto
