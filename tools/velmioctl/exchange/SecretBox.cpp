#include <velmioctl/exchange/SecretBox.h>

#include <base/Sodium.h>

#include <new>

using sync::core::crypto::SecretText;
using sync::core::crypto::SecureBytes;

namespace velmioctl::exchange {

namespace {

constexpr qint64 Operations = crypto_pwhash_argon2id_OPSLIMIT_MODERATE;
constexpr qint64 MemoryBytes = crypto_pwhash_argon2id_MEMLIMIT_MODERATE;
constexpr qint64 MostOperations = 16;
constexpr qint64 MostMemoryBytes = qint64(1) << 30;

constexpr qsizetype NonceBytes = crypto_aead_xchacha20poly1305_ietf_NPUBBYTES;
constexpr qsizetype TagBytes = crypto_aead_xchacha20poly1305_ietf_ABYTES;
constexpr size_t PaddedTo = 64;

const QByteArray CheckPlace = "check";

// Two keys, so that the secrets of a sealed export are of no use in the older, open format.
enum class KeyFor : quint64 { Secrets = 1, Export = 2 };
constexpr char KeyContext[crypto_kdf_CONTEXTBYTES + 1] = "velmioex";
static_assert(crypto_kdf_KEYBYTES == crypto_aead_xchacha20poly1305_ietf_KEYBYTES);
static_assert(crypto_kdf_KEYBYTES == crypto_generichash_KEYBYTES);

const unsigned char* rawBytes(const QByteArray& array)
{
    return reinterpret_cast<const unsigned char*>(array.constData());
}

unsigned char* rawBytes(QByteArray& array)
{
    return reinterpret_cast<unsigned char*>(array.data());
}

QByteArray randomBytes(qsizetype count)
{
    QByteArray bytes(count, '\0');
    randombytes_buf(bytes.data(), static_cast<size_t>(count));
    return bytes;
}

SecureBytes derive(const SecretParameters& parameters, const SecretText& passphrase)
{
    sync::base::initializeSodium();
    SecureBytes key(crypto_aead_xchacha20poly1305_ietf_KEYBYTES);
    const SecureBytes bytes = passphrase.toUtf8();
    const int result = crypto_pwhash(
        key.data(), key.size(), reinterpret_cast<const char*>(bytes.data()), bytes.size(),
        rawBytes(parameters.salt), static_cast<unsigned long long>(parameters.operations),
        static_cast<size_t>(parameters.memoryBytes), crypto_pwhash_ALG_ARGON2ID13);
    if (result != 0)
        throw std::bad_alloc();
    return key;
}

SecureBytes subkey(const SecureBytes& derived, KeyFor purpose)
{
    SecureBytes key(crypto_kdf_KEYBYTES);
    crypto_kdf_derive_from_key(
        key.data(), key.size(), static_cast<quint64>(purpose), KeyContext, derived.data());
    return key;
}

SecretParameters newParameters()
{
    sync::base::initializeSodium();
    return {
        .operations = Operations,
        .memoryBytes = MemoryBytes,
        .salt = randomBytes(crypto_pwhash_SALTBYTES)};
}

} // namespace

SecretBox::SecretBox(const SecretParameters& parameters, SecureBytes derived)
    : given(parameters)
    , exportKey(subkey(derived, KeyFor::Export))
    , secretKey(parameters.sealsExport ? subkey(derived, KeyFor::Secrets) : std::move(derived))
{
}

SecretBox SecretBox::make(const SecretText& passphrase)
{
    const SecretParameters parameters = newParameters();
    SecretBox box(parameters, derive(parameters, passphrase));
    box.given.check = box.seal({}, CheckPlace);
    return box;
}

std::optional<SecretBox> SecretBox::open(
    const SecretParameters& parameters, const SecretText& passphrase)
{
    SecretBox box(parameters, derive(parameters, passphrase));
    if (!box.unseal(parameters.check, CheckPlace))
        return {};
    return box;
}

bool SecretBox::isInRange(const SecretParameters& parameters)
{
    return parameters.operations >= qint64(crypto_pwhash_argon2id_OPSLIMIT_MIN) &&
           parameters.operations <= MostOperations &&
           parameters.memoryBytes >= qint64(crypto_pwhash_argon2id_MEMLIMIT_MIN) &&
           parameters.memoryBytes <= MostMemoryBytes &&
           parameters.salt.size() == crypto_pwhash_SALTBYTES;
}

QByteArray SecretBox::seal(std::span<const unsigned char> secret, const QByteArray& place) const
{
    SecureBytes padded(secret.size() + PaddedTo);
    std::copy(secret.begin(), secret.end(), padded.data());
    size_t paddedSize = 0;
    sodium_pad(&paddedSize, padded.data(), secret.size(), PaddedTo, padded.size());

    QByteArray sealed = randomBytes(NonceBytes);
    sealed.resize(NonceBytes + static_cast<qsizetype>(paddedSize) + TagBytes);
    crypto_aead_xchacha20poly1305_ietf_encrypt(
        rawBytes(sealed) + NonceBytes, nullptr, padded.data(), paddedSize, rawBytes(place),
        static_cast<unsigned long long>(place.size()), nullptr, rawBytes(sealed), secretKey.data());
    return sealed;
}

std::optional<SecureBytes> SecretBox::unseal(
    const QByteArray& sealed, const QByteArray& place) const
{
    if (sealed.size() <= NonceBytes + TagBytes)
        return {};
    SecureBytes padded(static_cast<size_t>(sealed.size() - NonceBytes - TagBytes));
    const int result = crypto_aead_xchacha20poly1305_ietf_decrypt(
        padded.data(), nullptr, nullptr, rawBytes(sealed) + NonceBytes,
        static_cast<unsigned long long>(sealed.size() - NonceBytes), rawBytes(place),
        static_cast<unsigned long long>(place.size()), rawBytes(sealed), secretKey.data());
    size_t size = 0;
    if (result != 0 || sodium_unpad(&size, padded.data(), padded.size(), PaddedTo) != 0)
        return {};
    return SecureBytes::copyOf({padded.data(), size});
}

} // namespace velmioctl::exchange
