#include <velmioctl/exchange/ExportSeal.h>

#include <sodium.h>

using sync::core::crypto::SecureBytes;

namespace velmioctl::exchange {

namespace {

constexpr size_t CodeBytes = crypto_generichash_BYTES;

QByteArray endWith(const QByteArray& code)
{
    return ",\n  \"seal\": \"" + code.toBase64() + "\"\n}\n";
}

const qsizetype EndBytes = endWith(QByteArray(CodeBytes, '\0')).size();

// Pages are aligned to more than the state needs.
crypto_generichash_state* stateIn(SecureBytes& bytes)
{
    return reinterpret_cast<crypto_generichash_state*>(bytes.data());
}

} // namespace

ExportSeal::ExportSeal(const unsigned char* key)
    : state(crypto_generichash_statebytes())
{
    crypto_generichash_init(stateIn(state), key, crypto_generichash_KEYBYTES, CodeBytes);
}

void ExportSeal::add(const QByteArray& text)
{
    crypto_generichash_update(
        stateIn(state), reinterpret_cast<const unsigned char*>(text.constData()),
        static_cast<unsigned long long>(text.size()));
}

QByteArray ExportSeal::end()
{
    QByteArray code(CodeBytes, '\0');
    crypto_generichash_final(
        stateIn(state), reinterpret_cast<unsigned char*>(code.data()), CodeBytes);
    return endWith(code);
}

void ExportSeal::addRead(const QByteArray& text)
{
    lastRead += text;
    if (lastRead.size() <= EndBytes)
        return;
    add(lastRead.chopped(EndBytes));
    lastRead = lastRead.last(EndBytes);
}

bool ExportSeal::matchesRead()
{
    const QByteArray expected = end();
    return lastRead.size() == expected.size() &&
           sodium_memcmp(
               lastRead.constData(), expected.constData(), static_cast<size_t>(EndBytes)) == 0;
}

} // namespace velmioctl::exchange
