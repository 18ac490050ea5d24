#include "FuzzInput.h"

#include <base/Sodium.h>
#include <core/Cipher.h>

#include <fuzzer/FuzzedDataProvider.h>

using namespace sync::core::crypto;
using sync::test::fuzzRequire;

namespace {

using Bytes = std::vector<unsigned char>;

const Key& knownKey()
{
    static const Key key(SecureBytes::copyOf(Bytes(Key::Size, 7)));
    return key;
}

const KeyRing& knownRing()
{
    static const KeyRing ring = KeyRing().withCurrent(std::make_shared<const Key>(
        SecureBytes::copyOf({knownKey().bytes().data(), knownKey().bytes().size()})));
    return ring;
}

Bytes hashOf(const Bytes& bytes, std::size_t size)
{
    Bytes hash(crypto_generichash_BYTES_MIN);
    crypto_generichash(hash.data(), hash.size(), bytes.data(), bytes.size(), nullptr, 0);
    hash.resize(size);
    return hash;
}

void append(Bytes& bytes, const Bytes& more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
}

void readRing(const Bytes& bytes)
{
    const auto ring = KeyRing::fromBytes(SecureBytes::copyOf(bytes));
    if (!ring)
        return;
    const auto again = KeyRing::fromBytes(ring->toBytes());
    fuzzRequire(again && *again == *ring);
}

void readPassword(const Bytes& bytes)
{
    const QByteArray stored(
        reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
    const Unsealed opened = unseal(stored, knownRing());
    if (opened.outcome != Unsealed::Outcome::Read) {
        fuzzRequire(opened.secret.isNull());
        return;
    }
    const Unsealed again =
        unseal(seal(opened.secret.view(), knownKey(), KeyBackend::File), knownRing());
    fuzzRequire(
        again.outcome == Unsealed::Outcome::Read && again.secret.view() == opened.secret.view());
    fuzzRequire(again.secret.isNull() == opened.secret.isNull());
}

// The start of a stored password of the known key, with its checksum.
Bytes header(unsigned char version, unsigned char backend)
{
    Bytes header{version, backend};
    const KeyId id = knownKey().id();
    append(header, Bytes(id.begin(), id.end()));
    append(header, hashOf(header, 4));
    return header;
}

// What somebody with the key could have encrypted.
Bytes encrypted(const Bytes& start, const Bytes& plain)
{
    Bytes stored = start;
    append(stored, Bytes(crypto_aead_xchacha20poly1305_ietf_NPUBBYTES, 9));
    Bytes cipher(plain.size() + crypto_aead_xchacha20poly1305_ietf_ABYTES);
    crypto_aead_xchacha20poly1305_ietf_encrypt(
        cipher.data(), nullptr, plain.data(), plain.size(), start.data(), start.size(), nullptr,
        stored.data() + start.size(), knownKey().bytes().data());
    append(stored, cipher);
    return stored;
}

} // namespace

/// Reads any bytes as a key ring and as a stored password, also behind right checksums and
/// encrypted with the right key. What can be read is the same after it was written again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    sync::base::initializeSodium();
    FuzzedDataProvider input(bytes, size);
    const auto form = input.ConsumeIntegralInRange<int>(0, 4);
    const auto version = input.ConsumeIntegral<unsigned char>();
    Bytes content = input.ConsumeRemainingBytes<unsigned char>();
    switch (form) {
    case 0:
        readRing(content);
        break;
    case 1:
        append(content, hashOf(content, crypto_generichash_BYTES_MIN));
        readRing(content);
        break;
    case 2:
        readPassword(content);
        break;
    case 3: {
        Bytes stored = header(version, 1);
        append(stored, content);
        readPassword(stored);
        break;
    }
    default:
        readPassword(encrypted(header(version, 1), content));
        break;
    }
    return 0;
}
