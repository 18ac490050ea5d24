#include <core/KeyStore.h>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

QString backendName(KeyBackend backend)
{
    switch (backend) {
    case KeyBackend::File:
        return u"the key file"_s;
    case KeyBackend::Keychain:
        return u"the system's keychain"_s;
    case KeyBackend::Host:
        return u"the host program"_s;
    }
    return u"an unknown place (%1)"_s.arg(static_cast<int>(backend));
}

KeyStore::~KeyStore() = default;

KeyRing KeyStore::readOrCreate()
{
    KeyRing ring = read();
    if (!ring.isEmpty())
        return ring;
    // Another process may have created a key in the meantime.
    return change(
        [](const KeyRing& present) { return present.isEmpty() ? present.withNewKey() : present; });
}

} // namespace sync::core::crypto
