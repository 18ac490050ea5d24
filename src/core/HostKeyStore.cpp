#include <core/HostKeyStore.h>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

namespace {

std::shared_ptr<const Key> keyFrom(const QByteArray& bytes)
{
    if (std::size_t(bytes.size()) != Key::Size) {
        throw KeyError(
            KeyError::Cause::Damaged, u"The host program passed a password key of %1 bytes. "
                                      "Pass %2 random bytes."_s.arg(bytes.size())
                                          .arg(Key::Size));
    }
    const auto* first = reinterpret_cast<const unsigned char*>(bytes.constData());
    return std::make_shared<const Key>(SecureBytes::copyOf({first, Key::Size}));
}

} // namespace

HostKeyStore::HostKeyStore(const QByteArray& currentKey, const QList<QByteArray>& earlierKeys)
{
    std::for_each(earlierKeys.crbegin(), earlierKeys.crend(), [this](const QByteArray& key) {
        ring = ring.withCurrent(keyFrom(key));
    });
    ring = ring.withCurrent(keyFrom(currentKey));
}

KeyRing HostKeyStore::change(const Change& change)
{
    if (change(ring).ids() != ring.ids()) {
        throw KeyError(
            KeyError::Cause::HandedOver,
            u"The host program stores the password keys, so only the host "
            "program can change them."_s);
    }
    return ring;
}

} // namespace sync::core::crypto
