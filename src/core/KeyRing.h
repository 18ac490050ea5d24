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
    static constexpr std::size_t Size = 32;

    /// Takes `Size` bytes.
    explicit Key(SecureBytes bytes);

    const KeyId& id() const noexcept { return keyId; }
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
    struct Entry
    {
        std::shared_ptr<const Key> key;
        QDateTime retired; ///< When another key became the current one; null for the current key.
    };

    bool isEmpty() const noexcept { return entries.empty(); }

    /// The key to encrypt with. The ring must not be empty.
    const Key& current() const { return *entries.front().key; }

    /// Null when the ring has no such key.
    std::shared_ptr<const Key> find(const KeyId& id) const;

    /// The current key first.
    QList<KeyId> ids() const;

    /// The earlier keys that were retired at `moment` or before it.
    QSet<KeyId> retiredUntil(const QDateTime& moment) const;

    /// This ring with a key in front of the others, which makes it the current one.
    KeyRing withCurrent(std::shared_ptr<const Key> key) const;

    /// This ring with a fresh random key as the current one.
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
