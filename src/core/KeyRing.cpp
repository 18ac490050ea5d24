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

// Layout: magic, one byte for the version, one for the number of keys; for each key the time when
// it was replaced (milliseconds since 1970, 64 bit little endian, 0 for none) and its bytes; then a
// checksum, which distinguishes a damaged ring from a wrong key.
constexpr std::string_view Magic = "velmio-keys";
constexpr unsigned char RingVersion = 1;
constexpr std::size_t MaximumKeys = 255;
constexpr std::size_t RingHeaderSize = Magic.size() + 2;
constexpr std::size_t EntrySize = sizeof(qint64) + Key::Size;
constexpr std::size_t RingChecksumSize = crypto_generichash_BYTES_MIN;

constexpr std::string_view IdContext = "velmio key id";
constexpr std::size_t IdSize = 16;

constexpr std::size_t ringSize(std::size_t keys)
{
    return RingHeaderSize + keys * EntrySize + RingChecksumSize;
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
        u"The key store already has 255 password keys, which is the limit. Remove the keys that no "
        "password uses."_s};
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
    if (entries.size() >= MaximumKeys)
        throw tooManyKeys();
    return withCurrent(std::make_shared<const Key>(SecureBytes::random(Key::Size)));
}

KeyRing KeyRing::withEarlier(const KeyRing& other) const
{
    if (isEmpty())
        return other;
    KeyRing ring = *this;
    for (Entry entry : other.entries) {
        if (ring.find(entry.key->id()))
            continue;
        if (!entry.retired.isValid())
            entry.retired = QDateTime::currentDateTimeUtc();
        ring.entries.push_back(std::move(entry));
    }
    std::stable_sort(
        ring.entries.begin() + 1, ring.entries.end(),
        [](const Entry& one, const Entry& next) { return one.retired > next.retired; });
    return ring;
}

KeyRing KeyRing::without(const QSet<KeyId>& ids) const
{
    KeyRing ring;
    for (const Entry& entry : entries) {
        if (&entry == &entries.front() || !ids.contains(entry.key->id()))
            ring.entries.push_back(entry);
    }
    return ring;
}

SecureBytes KeyRing::toBytes() const
{
    if (entries.size() > MaximumKeys)
        throw tooManyKeys();
    SecureBytes ring(ringSize(entries.size()));
    unsigned char* position = std::copy(Magic.begin(), Magic.end(), ring.data());
    *position++ = RingVersion;
    *position++ = static_cast<unsigned char>(entries.size());
    for (const Entry& entry : entries) {
        const qint64 retired = entry.retired.isValid() ? entry.retired.toMSecsSinceEpoch() : 0;
        qToLittleEndian(retired, position);
        position += sizeof(retired);
        position = std::copy_n(entry.key->bytes().data(), Key::Size, position);
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
        ring.entries.push_back(
            {std::make_shared<const Key>(SecureBytes::copyOf({at + sizeof(retired), Key::Size})),
             retired ? QDateTime::fromMSecsSinceEpoch(retired, Qt::UTC) : QDateTime()});
    }
    return ring;
}

std::size_t KeyRing::maximumBytes()
{
    return ringSize(MaximumKeys);
}

} // namespace sync::core::crypto
