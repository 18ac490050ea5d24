#include <core/KeyRing.h>

#include <base/Sodium.h>
#include <core/KeyError.h>

#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <string_view>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

namespace {

// Layout: magic, one byte for the version, one for the number of entries; for each key the time
// when it was replaced (milliseconds since 1970, 64 bit little endian, 0 for none) and its bytes;
// for each note about a store NoteTime, a hash of the store's id and the id of a key; then a
// checksum, which distinguishes a damaged ring from a wrong key. A note looks like a key that is
// replaced in the year 9999, so programs that do not know notes keep it and work with the keys.
constexpr std::string_view Magic = "velmio-keys";
constexpr unsigned char RingVersion = 1;
constexpr std::size_t MaximumEntries = 255;
constexpr qint64 NoteTime = 253'402'300'799'999;
constexpr std::size_t RingHeaderSize = Magic.size() + 2;
constexpr std::size_t EntrySize = sizeof(qint64) + Key::Size;
constexpr std::size_t RingChecksumSize = crypto_generichash_BYTES_MIN;

constexpr std::string_view IdContext = "velmio key id";
constexpr std::string_view StoreContext = "velmio key store note";
constexpr std::size_t IdSize = 16;

static_assert(2 * IdSize == Key::Size);

constexpr std::size_t ringSize(std::size_t entries)
{
    return RingHeaderSize + entries * EntrySize + RingChecksumSize;
}

void writeChecksum(unsigned char* checksum, const SecureBytes& ring)
{
    crypto_generichash(
        checksum, RingChecksumSize, ring.data(), ring.size() - RingChecksumSize, nullptr, 0);
}

bool isWellFormed(const SecureBytes& ring)
{
    if (ring.size() < ringSize(1) || std::memcmp(ring.data(), Magic.data(), Magic.size()) != 0)
        return false;
    if (ring.data()[Magic.size()] != RingVersion ||
        ring.size() != ringSize(ring.data()[Magic.size() + 1]))
        return false;

    unsigned char checksum[RingChecksumSize];
    writeChecksum(checksum, ring);
    return std::memcmp(checksum, ring.data() + ring.size() - RingChecksumSize, RingChecksumSize) ==
           0;
}

KeyError tooManyKeys()
{
    return {
        KeyError::Cause::Other,
        u"The key store already has 255 password keys and notes about databases, which is the "
        "limit. Remove the keys that no password uses."_s};
}

KeyId idOf(const SecureBytes& secret)
{
    KeyId id(IdSize, Qt::Uninitialized);
    // A keyed hash of a fixed text, so that the id reveals nothing about the key.
    crypto_generichash(
        reinterpret_cast<unsigned char*>(id.data()), IdSize,
        reinterpret_cast<const unsigned char*>(IdContext.data()), IdContext.size(), secret.data(),
        secret.size());
    return id;
}

QByteArray hashOfStore(const QString& storeId)
{
    QByteArray hash(IdSize, Qt::Uninitialized);
    const QByteArray id = storeId.toUtf8();
    crypto_generichash(
        reinterpret_cast<unsigned char*>(hash.data()), IdSize,
        reinterpret_cast<const unsigned char*>(id.constData()), static_cast<std::size_t>(id.size()),
        reinterpret_cast<const unsigned char*>(StoreContext.data()), StoreContext.size());
    return hash;
}

} // namespace

Key::Key(SecureBytes bytes)
    : secret(std::move(bytes))
    , keyId(idOf(secret))
{
    Q_ASSERT(secret.size() == Size);
}

std::shared_ptr<const Key> KeyRing::find(const KeyId& id) const
{
    const auto found = std::find_if(
        entries.begin(), entries.end(), [&](const Entry& entry) { return entry.key->id() == id; });
    return found == entries.end() ? nullptr : found->key;
}

QList<KeyId> KeyRing::ids() const
{
    QList<KeyId> ids;
    for (const Entry& entry : entries)
        ids.append(entry.key->id());
    return ids;
}

QSet<KeyId> KeyRing::retiredUntil(const QDateTime& moment) const
{
    QSet<KeyId> ids;
    for (const Entry& entry : entries) {
        if (entry.retired.isValid() && entry.retired <= moment)
            ids.insert(entry.key->id());
    }
    return ids;
}

KeyRing KeyRing::withCurrent(std::shared_ptr<const Key> key) const
{
    KeyRing ring = without({key->id()});
    if (!ring.isEmpty() && ring.current().id() == key->id())
        return ring;
    if (!ring.isEmpty())
        ring.entries.front().retired = QDateTime::currentDateTimeUtc();
    ring.entries.insert(ring.entries.begin(), {std::move(key), {}});
    return ring;
}

KeyRing KeyRing::withNewKey() const
{
    _RequireRoom();
    return withCurrent(std::make_shared<const Key>(SecureBytes::random(Key::Size)));
}

KeyRing KeyRing::withEarlier(const KeyRing& other) const
{
    if (isEmpty())
        return other;
    // At the end: before the keys of a note, so that it does not cover them.
    KeyRing ring = *this;
    for (Entry entry : other.entries) {
        if (ring.find(entry.key->id()))
            continue;
        if (!entry.retired.isValid())
            entry.retired = QDateTime::currentDateTimeUtc();
        ring.entries.push_back(std::move(entry));
    }
    for (const StoreNote& note : other.notes) {
        if (!ring._Has(note.store))
            ring.notes.push_back(note);
    }
    return ring;
}

KeyRing KeyRing::without(const QSet<KeyId>& ids) const
{
    KeyRing ring;
    ring.notes = notes;
    for (const Entry& entry : entries) {
        if (&entry == &entries.front() || !ids.contains(entry.key->id()))
            ring.entries.push_back(entry);
    }
    return ring;
}

KeyRing KeyRing::withStore(const QString& storeId, const KeyId& oldest) const
{
    KeyRing ring = withoutStore(storeId);
    ring._RequireRoom();
    ring.notes.push_back({hashOfStore(storeId), oldest});
    return ring;
}

KeyRing KeyRing::withoutStore(const QString& storeId) const
{
    KeyRing ring = *this;
    const QByteArray store = hashOfStore(storeId);
    std::erase_if(ring.notes, [&](const StoreNote& note) { return note.store == store; });
    return ring;
}

bool KeyRing::_Has(const QByteArray& store) const
{
    return std::any_of(
        notes.begin(), notes.end(), [&](const StoreNote& note) { return note.store == store; });
}

KeyId KeyRing::oldestOf(const QString& storeId) const
{
    const QByteArray store = hashOfStore(storeId);
    const auto found = std::find_if(
        notes.begin(), notes.end(), [&](const StoreNote& note) { return note.store == store; });
    return found == notes.end() ? KeyId() : found->oldest;
}

QSet<KeyId> KeyRing::outdatedFor(const QString& storeId) const
{
    const KeyId oldest = oldestOf(storeId);
    return oldest.isEmpty() ? QSet<KeyId>() : _Ids(oldest, false);
}

QSet<KeyId> KeyRing::neededByStoresOtherThan(const QString& storeId) const
{
    const QByteArray store = hashOfStore(storeId);
    QSet<KeyId> needed;
    for (const StoreNote& note : notes) {
        if (note.store != store)
            needed += _Ids(note.oldest, true);
    }
    return needed;
}

bool KeyRing::operator==(const KeyRing& other) const
{
    return ids() == other.ids() && notes == other.notes;
}

// The keys before this one, or this one and all later ones. A key that is missing was dropped, so
// what the ring has came later.
QSet<KeyId> KeyRing::_Ids(const KeyId& from, bool later) const
{
    QSet<KeyId> ids;
    bool isLater = true;
    for (const Entry& entry : entries) {
        if (isLater == later)
            ids.insert(entry.key->id());
        isLater = isLater && entry.key->id() != from;
    }
    return ids;
}

void KeyRing::_RequireRoom() const
{
    if (entries.size() + notes.size() >= MaximumEntries)
        throw tooManyKeys();
}

SecureBytes KeyRing::toBytes() const
{
    if (entries.size() + notes.size() > MaximumEntries)
        throw tooManyKeys();
    SecureBytes ring(ringSize(entries.size() + notes.size()));
    unsigned char* position = std::copy(Magic.begin(), Magic.end(), ring.data());
    *position++ = RingVersion;
    *position++ = static_cast<unsigned char>(entries.size() + notes.size());
    for (const Entry& entry : entries) {
        const qint64 retired = entry.retired.isValid() ? entry.retired.toMSecsSinceEpoch() : 0;
        qToLittleEndian(retired, position);
        position += sizeof(retired);
        position = std::copy_n(entry.key->bytes().data(), Key::Size, position);
    }
    for (const StoreNote& note : notes) {
        qToLittleEndian(NoteTime, position);
        position += sizeof(NoteTime);
        position = std::copy(note.store.begin(), note.store.end(), position);
        position = std::copy(note.oldest.begin(), note.oldest.end(), position);
    }
    writeChecksum(position, ring);
    return ring;
}

std::optional<KeyRing> KeyRing::fromBytes(const SecureBytes& bytes)
{
    if (!isWellFormed(bytes))
        return std::nullopt;

    KeyRing ring;
    const unsigned char* const end = bytes.data() + bytes.size() - RingChecksumSize;
    for (const unsigned char* at = bytes.data() + RingHeaderSize; at != end; at += EntrySize) {
        const auto retired = qFromLittleEndian<qint64>(at);
        if (retired == NoteTime) {
            const auto* const hash = reinterpret_cast<const char*>(at + sizeof(retired));
            ring.notes.push_back({QByteArray(hash, IdSize), QByteArray(hash + IdSize, IdSize)});
            continue;
        }
        ring.entries.push_back(
            {std::make_shared<const Key>(SecureBytes::copyOf({at + sizeof(retired), Key::Size})),
             retired ? QDateTime::fromMSecsSinceEpoch(retired, Qt::UTC) : QDateTime()});
    }
    return ring.isEmpty() ? std::nullopt : std::optional(std::move(ring));
}

std::size_t KeyRing::maximumBytes()
{
    return ringSize(MaximumEntries);
}

} // namespace sync::core::crypto
