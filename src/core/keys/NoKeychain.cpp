#include <core/KeychainKeyStore.h>

using namespace Qt::StringLiterals;

namespace sync::core::crypto {

namespace {

/// The keychain of a build without QtKeychain.
class NoKeychain : public Keychain
{
public:
    Answer read() override { return absent(); }
    Answer write(const QByteArray&) override { return absent(); }

private:
    static Answer absent()
    {
        return {Status::Absent, {}, u"this program was built without support for it"_s};
    }
};

} // namespace

std::unique_ptr<Keychain> Keychain::system()
{
    return std::make_unique<NoKeychain>();
}

} // namespace sync::core::crypto
