#include <core/Cipher.h>

#include <base/Sodium.h>

#include <QtEndian>

#include <cstring>
#include <stdexcept>

namespace sync::core::crypto {

namespace {

// Layout of a stored value: the header, which is one byte for the version, one for the kind of key
// store, the id of the key and a checksum of these; the nonce; the ciphertext with its tag. The
// header is the same in all versions, so that damage differs from an unknown version, kind or key.
// It is authenticated together with the secret.
constexpr unsigned char Version = 1;
constexpr qsizetype KeyIdOffset = 2;
constexpr qsizetype KeyIdSize = 16;
constexpr qsizetype ChecksumOffset = KeyIdOffset + KeyIdSize;
constexpr qsizetype ChecksumSize = 4;
constexpr qsizetype HeaderSize = ChecksumOffset + ChecksumSize;
constexpr qsizetype NonceSize = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr qsizetype TagSize = crypto_aead_xchacha20poly1305_ietf_ABYTES;
constexpr qsizetype CiphertextOffset = HeaderSize + NonceSize;

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
    const SecureBytes plain = encode(secret);
    QByteArray stored(
        CiphertextOffset + static_cast<qsizetype>(plain.size()) + TagSize, Qt::Uninitialized);
    unsigned char* const header = bytesOf(stored);
    header[0] = Version;
    header[1] = static_cast<unsigned char>(backend);
    std::memcpy(header + KeyIdOffset, key.id().constData(), KeyIdSize);
    writeChecksum(header + ChecksumOffset, header);

    unsigned char* const nonce = header + HeaderSize;
    randombytes_buf(nonce, NonceSize);
    crypto_aead_xchacha20poly1305_ietf_encrypt(
        header + CiphertextOffset, nullptr, plain.data(), plain.size(), header, HeaderSize, nullptr,
        nonce, key.bytes().data());
    return stored;
}

Unsealed unseal(const QByteArray& stored, const KeyRing& ring)
{
    using Outcome = Unsealed::Outcome;
    if (!hasIntactHeader(stored))
        return {};

    Unsealed opened;
    const unsigned char* const header = bytesOf(stored);
    opened.version = header[0];
    opened.backend = static_cast<KeyBackend>(header[1]);
    opened.keyId = stored.mid(KeyIdOffset, KeyIdSize);
    if (opened.version != Version) {
        opened.outcome = Outcome::UnknownVersion;
        return opened;
    }
    const qsizetype plainSize = stored.size() - CiphertextOffset - TagSize;
    if (plainSize <= 0)
        return opened;
    const auto key = ring.find(opened.keyId);
    if (!key) {
        opened.outcome = Outcome::OtherKey;
        return opened;
    }

    SecureBytes plain(static_cast<std::size_t>(plainSize));
    const int failed = crypto_aead_xchacha20poly1305_ietf_decrypt(
        plain.data(), nullptr, nullptr, header + CiphertextOffset,
        static_cast<unsigned long long>(stored.size() - CiphertextOffset), header, HeaderSize,
        header + HeaderSize, key->bytes().data());
    if (!failed) {
        opened.outcome = Outcome::Read;
        opened.secret = decode(plain);
    }
    return opened;
}

} // namespace sync::core::crypto
