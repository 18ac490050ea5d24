#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <core/SecureBytes.h>

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace sync::core::crypto {

/// The id of a key: 16 bytes that are computed from it and do not reveal it.
using KeyId = QByteArray;

/// One key that encrypts passwords. It does not change.
class VELMIO_CORE_EXPORT Key
{
public:
    /// The size of a key in bytes.
    static constexpr std::size_t Size = 32;

    /// A key of `Size` bytes.
    explicit Key(SecureBytes bytes);

    /// The id of the key, which is not secret.
    const KeyId& id() const noexcept { return keyId; }

    /// The key itself. It is secret: do not copy it to ordinary memory.
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
        QDateTime retired;              ///< When another key replaced it; null for the current key.
    };

    /// True if the ring has no key.
    bool isEmpty() const noexcept { return entries.empty(); }

    /// The key to encrypt with. The ring must not be empty.
    const Key& current() const { return *entries.front().key; }

    /// The key with this id; null if the ring does not have it.
    std::shared_ptr<const Key> find(const KeyId& id) const;

    /// The ids of all keys: the current key first, then the latest replaced.
    QList<KeyId> ids() const;

    /// The earlier keys that were replaced at `moment` or before it.
    QSet<KeyId> retiredUntil(const QDateTime& moment) const;

    /// This ring with `key` as the current key.
    KeyRing withCurrent(std::shared_ptr<const Key> key) const;

    /// This ring with a new random key as the current one. Throws KeyError if the ring already has
    /// 255 keys and notes about stores, which is the limit.
    KeyRing withNewKey() const;

    /// This ring with the keys of another one as its oldest keys, and its notes; if this ring is
    /// empty, the other one.
    KeyRing withEarlier(const KeyRing& other) const;

    /// This ring without these keys. The current key stays.
    KeyRing without(const QSet<KeyId>& ids) const;

    /// This ring with the note that every password of a store has been encrypted for its place,
    /// with the key `oldest` or a later one. Throws KeyError if the store has no room for the note.
    KeyRing withStore(const QString& storeId, const KeyId& oldest) const;

    /// This ring without the note about a store.
    KeyRing withoutStore(const QString& storeId) const;

    /// The oldest key of the note about a store; empty without a note.
    KeyId oldestOf(const QString& storeId) const;

    /// The keys that a store with such a note used before. Its passwords do not need them.
    QSet<KeyId> outdatedFor(const QString& storeId) const;

    /// The keys that the other stores with such a note may need.
    QSet<KeyId> neededByStoresOtherThan(const QString& storeId) const;

    /// True if the keys, their order and the notes are the same.
    bool operator==(const KeyRing& other) const;

    /// The form in which a key file and a keychain store the ring. Throws KeyError for more than
    /// 255 keys and notes.
    SecureBytes toBytes() const;

    /// Nothing if the bytes are not a ring: wrong size, format or checksum.
    static std::optional<KeyRing> fromBytes(const SecureBytes& bytes);

    /// The size of the longest form that fromBytes() accepts.
    static std::size_t maximumBytes();

private:
    /// The oldest key that the passwords of a store use.
    struct StoreNote
    {
        QByteArray store; // a hash of its id
        KeyId oldest;

        bool operator==(const StoreNote&) const = default;
    };

    QSet<KeyId> _Ids(const KeyId& from, bool later) const;
    void _RequireRoom() const;
    bool _Has(const QByteArray& store) const;

    std::vector<Entry> entries; // the current key first, then the latest replaced
    std::vector<StoreNote> notes;
};

} // namespace sync::core::crypto
