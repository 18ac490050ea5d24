#include <core/Cipher.h>

#include <base/Sodium.h>

#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace sync::core::crypto {

namespace {

// Layout of a stored value: the header, which is one byte for the version, one for the kind of key
// store, the id of the key and a checksum of these; from version 2 on the binding, which is the
// number of servers (16 bit, little endian) and a mark each of the store, the record and the
// servers; the nonce; the ciphertext with its tag. The header is the same in all versions, so that
// damage differs from an unknown version, kind or key. It and the binding are authenticated
// together with the secret. A mark is a hash keyed with the key, so it reveals nothing and says
// what differs, which a context that is only authenticated would not.
constexpr unsigned char Unbound = 1;
constexpr unsigned char Bound = 2;
constexpr qsizetype KeyIdOffset = 2;
constexpr qsizetype KeyIdSize = 16;
constexpr qsizetype ChecksumOffset = KeyIdOffset + KeyIdSize;
constexpr qsizetype ChecksumSize = 4;
constexpr qsizetype HeaderSize = ChecksumOffset + ChecksumSize;
constexpr qsizetype NonceSize = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr qsizetype TagSize = crypto_aead_xchacha20poly1305_ietf_ABYTES;
constexpr qsizetype CountSize = sizeof(quint16);
constexpr qsizetype MarkSize = 16;
constexpr qsizetype FixedMarks = 2; // store and record

static_assert(Key::Size == crypto_aead_xchacha20poly1305_ietf_KEYBYTES);

// Layout of the encrypted part: one byte that distinguishes a null string from a text, the UTF-16
// code units in little endian, and padding that hides the length of short secrets.
constexpr unsigned char NullText = 0;
constexpr unsigned char SomeText = 1;
constexpr std::size_t FlagSize = 1;
constexpr std::size_t UnitSize = sizeof(char16_t);
constexpr std::size_t PaddedTo = 64;

unsigned char* bytesOf(QByteArray& bytes)
{
    return reinterpret_cast<unsigned char*>(bytes.data());
}

const unsigned char* bytesOf(const QByteArray& bytes)
{
    return reinterpret_cast<const unsigned char*>(bytes.constData());
}

void writeChecksum(unsigned char* checksum, const unsigned char* header)
{
    unsigned char hash[crypto_generichash_BYTES_MIN];
    crypto_generichash(hash, sizeof(hash), header, ChecksumOffset, nullptr, 0);
    std::memcpy(checksum, hash, ChecksumSize);
}

bool hasIntactHeader(const QByteArray& stored)
{
    if (stored.size() < HeaderSize)
        return false;
    unsigned char checksum[ChecksumSize];
    writeChecksum(checksum, bytesOf(stored));
    return std::memcmp(checksum, bytesOf(stored) + ChecksumOffset, ChecksumSize) == 0;
}

// A short word for each part, so that no text has the mark of another part.
QByteArray markOf(QByteArrayView part, const QByteArray& text, const Key& key)
{
    QByteArray mark(MarkSize, Qt::Uninitialized);
    const QByteArray marked = QByteArray("velmio bound ").append(part).append('\0') + text;
    crypto_generichash(
        bytesOf(mark), MarkSize, bytesOf(marked), static_cast<unsigned long long>(marked.size()),
        key.bytes().data(), key.bytes().size());
    return mark;
}

QByteArray storeMark(const SecretContext& context, const Key& key)
{
    return markOf("store", context.storeId.toUtf8(), key);
}

QByteArray recordMark(const SecretContext& context, const Key& key)
{
    return markOf("record", context.record, key);
}

QByteArray bindingOf(const SecretContext& context, const Key& key)
{
    if (context.servers.size() > std::numeric_limits<quint16>::max())
        throw std::length_error("A secret cannot be bound to so many servers");
    QByteArray binding(CountSize, Qt::Uninitialized);
    qToLittleEndian(static_cast<quint16>(context.servers.size()), binding.data());
    binding += storeMark(context, key) + recordMark(context, key);
    for (const QByteArray& server : context.servers)
        binding += markOf("server", server, key);
    return binding;
}

// Larger than the value if that is cut off.
qsizetype bindingSizeIn(const QByteArray& stored)
{
    if (stored.size() < HeaderSize + CountSize)
        return stored.size();
    const auto servers = qFromLittleEndian<quint16>(stored.constData() + HeaderSize);
    return CountSize + (FixedMarks + servers) * MarkSize;
}

bool mayGoTo(const QByteArray& server, QByteArrayView marks, const Key& key)
{
    const QByteArray mark = markOf("server", server, key);
    for (qsizetype at = 0; at < marks.size(); at += MarkSize) {
        if (marks.sliced(at, MarkSize) == mark)
            return true;
    }
    return false;
}

// What is known of the context decides.
Unsealed::Outcome compare(const QByteArray& stored, const Key& key, const SecretContext& context)
{
    using Outcome = Unsealed::Outcome;
    const QByteArrayView marks =
        QByteArrayView(stored).sliced(HeaderSize, bindingSizeIn(stored)).sliced(CountSize);
    if (context.isKnown() && marks.first(MarkSize) != storeMark(context, key))
        return Outcome::OtherStore;
    if (!context.record.isEmpty() && marks.sliced(MarkSize, MarkSize) != recordMark(context, key))
        return Outcome::OtherRecord;
    const QByteArrayView servers = marks.sliced(FixedMarks * MarkSize);
    const bool isAllowed = std::all_of(
        context.servers.begin(), context.servers.end(),
        [&](const QByteArray& server) { return mayGoTo(server, servers, key); });
    return isAllowed ? Outcome::Read : Outcome::OtherServer;
}

bool isOutdated(const Unsealed& opened, const KeyRing& ring, const SecretContext& context)
{
    if (!context.isKnown() || ring.oldestOf(context.storeId).isEmpty())
        return false;
    return !opened.bound || ring.outdatedFor(context.storeId).contains(opened.keyId);
}

SecureBytes encode(const QString& secret)
{
    const std::size_t size = FlagSize + static_cast<std::size_t>(secret.size()) * UnitSize;
    SecureBytes plain((size / PaddedTo + 1) * PaddedTo);
    plain.data()[0] = secret.isNull() ? NullText : SomeText;
    // QString::utf16() would turn a null text of the caller into an empty one.
    qToLittleEndian<char16_t>(secret.constData(), secret.size(), plain.data() + FlagSize);
    std::size_t paddedSize = 0;
    if (sodium_pad(&paddedSize, plain.data(), size, PaddedTo, plain.size()) != 0)
        throw std::length_error("A secret of this length cannot be padded");
    return plain;
}

SecretText decode(const SecureBytes& plain)
{
    std::size_t size = 0;
    if (sodium_unpad(&size, plain.data(), plain.size(), PaddedTo) != 0 || size < FlagSize ||
        plain.data()[0] == NullText)
        return {};
    SecureBytes utf16((size - FlagSize) / UnitSize * UnitSize);
    qFromLittleEndian<char16_t>(
        plain.data() + FlagSize, static_cast<qsizetype>(utf16.size() / UnitSize), utf16.data());
    return SecretText(std::move(utf16));
}

} // namespace

QByteArray seal(const QString& secret, const Key& key, KeyBackend backend)
{
    return seal(secret, key, backend, {});
}

QByteArray seal(
    const QString& secret, const Key& key, KeyBackend backend, const SecretContext& context)
{
    const SecureBytes plain = encode(secret);
    const QByteArray binding = context.isKnown() ? bindingOf(context, key) : QByteArray();
    const qsizetype openSize = HeaderSize + binding.size();
    QByteArray stored(
        openSize + NonceSize + static_cast<qsizetype>(plain.size()) + TagSize, Qt::Uninitialized);
    unsigned char* const header = bytesOf(stored);
    header[0] = context.isKnown() ? Bound : Unbound;
    header[1] = static_cast<unsigned char>(backend);
    std::memcpy(header + KeyIdOffset, key.id().constData(), KeyIdSize);
    writeChecksum(header + ChecksumOffset, header);
    std::copy(binding.begin(), binding.end(), header + HeaderSize);

    unsigned char* const nonce = header + openSize;
    randombytes_buf(nonce, NonceSize);
    crypto_aead_xchacha20poly1305_ietf_encrypt(
        nonce + NonceSize, nullptr, plain.data(), plain.size(), header,
        static_cast<unsigned long long>(openSize), nullptr, nonce, key.bytes().data());
    return stored;
}

Unsealed unseal(const QByteArray& stored, const KeyRing& ring)
{
    return unseal(stored, ring, {});
}

Unsealed unseal(const QByteArray& stored, const KeyRing& ring, const SecretContext& context)
{
    using Outcome = Unsealed::Outcome;
    if (!hasIntactHeader(stored))
        return {};

    Unsealed opened;
    const unsigned char* const header = bytesOf(stored);
    opened.version = header[0];
    opened.backend = static_cast<KeyBackend>(header[1]);
    opened.keyId = stored.mid(KeyIdOffset, KeyIdSize);
    opened.bound = opened.version == Bound;
    if (opened.version != Unbound && !opened.bound) {
        opened.outcome = Outcome::UnknownVersion;
        return opened;
    }
    const qsizetype openSize = HeaderSize + (opened.bound ? bindingSizeIn(stored) : 0);
    const qsizetype plainSize = stored.size() - openSize - NonceSize - TagSize;
    if (plainSize <= 0)
        return opened;
    const auto key = ring.find(opened.keyId);
    if (!key) {
        opened.outcome = Outcome::OtherKey;
        return opened;
    }

    SecureBytes plain(static_cast<std::size_t>(plainSize));
    const int failed = crypto_aead_xchacha20poly1305_ietf_decrypt(
        plain.data(), nullptr, nullptr, header + openSize + NonceSize,
        static_cast<unsigned long long>(stored.size() - openSize - NonceSize), header,
        static_cast<unsigned long long>(openSize), header + openSize, key->bytes().data());
    if (failed)
        return opened;
    opened.outcome = isOutdated(opened, ring, context) ? Outcome::Outdated
                     : opened.bound                    ? compare(stored, *key, context)
                                                       : Outcome::Read;
    if (opened.outcome == Outcome::Read)
        opened.secret = decode(plain);
    return opened;
}

} // namespace sync::core::crypto
