#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <core/SecureBytes.h>

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QSet>

#include <memory>
#include <optional>
#include <vector>

namespace sync::core::crypto {

/// Name of a key: 16 bytes that are computed from it, and say nothing about it.
using KeyId = QByteArray;

/// One key that passwords are encrypted with. It does not change.
class VELMIO_CORE_EXPORT Key
{
public:
    /// Bytes of a key.
    static constexpr std::size_t Size = 32;

    /// Takes `Size` bytes.
    explicit Key(SecureBytes bytes);

    /// The key's name, which is no secret.
    const KeyId& id() const noexcept { return keyId; }

    /// The key itself: a secret, not to be copied to ordinary memory.
    const SecureBytes& bytes() const noexcept { return secret; }

private:
    SecureBytes secret;
    KeyId keyId;
};

/// The keys of a store: the current one, and earlier ones that stored passwords may still use.
///
/// A value; copies share the keys.
class VELMIO_CORE_EXPORT KeyRing
{
public:
    /// One key of a ring.
    struct Entry
    {
        std::shared_ptr<const Key> key; ///< Never null.
        QDateTime retired; ///< When another key became the current one; null for the current key.
    };

    /// True when there is no key at all.
    bool isEmpty() const noexcept { return entries.empty(); }

    /// The key to encrypt with. The ring must not be empty.
    const Key& current() const { return *entries.front().key; }

    /// The key of that name; null when the ring has no such key.
    std::shared_ptr<const Key> find(const KeyId& id) const;

    /// The names of all keys, the current one first, then the latest retired.
    QList<KeyId> ids() const;

    /// The earlier keys that were retired at `moment` or before it.
    QSet<KeyId> retiredUntil(const QDateTime& moment) const;

    /// This ring with a key in front of the others, which makes it the current one.
    KeyRing withCurrent(std::shared_ptr<const Key> key) const;

    /// This ring with a fresh random key as the current one. Throws KeyError when there are 255
    /// keys already, as a store takes no more.
    KeyRing withNewKey() const;

    /// This ring without these keys. The current key stays.
    KeyRing without(const QSet<KeyId>& ids) const;

    /// The form that a key file and a keychain hold.
    SecureBytes toBytes() const;

    /// Nothing when the bytes are no ring: wrong size, format or checksum.
    static std::optional<KeyRing> fromBytes(const SecureBytes& bytes);

    /// The longest form that fromBytes() accepts.
    static std::size_t maximumBytes();

private:
    std::vector<Entry> entries; // the current key first, then the latest retired
};

} // namespace sync::core::crypto
