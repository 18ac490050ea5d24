#pragma once
#include <core/PosixSync.h>

#include <core/KeyStore.h>

#include <QRecursiveMutex>

#include <memory>
#include <optional>

namespace sync::core::crypto {

/// The library's one entry in a keychain. A KeychainKeyStore asks it from one thread at a time.
class VELMIO_CORE_EXPORT Keychain
{
public:
    /// How an operation ended.
    enum class Status {
        Done,   ///< The entry was read or written.
        Empty,  ///< The keychain is there and open, but has no such entry.
        Locked, ///< It stayed locked, or the user denied access.
        Absent, ///< There is no keychain.
        Failed, ///< Anything else; the answer's error tells.
    };

    /// What the keychain answers.
    struct Answer
    {
        Status status = Status::Failed; ///< How the operation ended.
        QByteArray entry = {};          ///< What was read.
        QString error = {};             ///< The keychain's own words, for a person.
    };

    virtual ~Keychain();

    /// Reads the entry; may run an event loop and show the user a prompt.
    virtual Answer read() = 0;

    /// Writes the entry, in place of an earlier one; may run an event loop and show a prompt.
    virtual Answer write(const QByteArray& entry) = 0;

    /// The operating system's keychain. Absent for good in a build without VELMIO_WITH_KEYCHAIN.
    static std::unique_ptr<Keychain> system();
};

/// Keys in the operating system's keychain.
///
/// The keychain is asked once, and the keys are kept in memory then. Asking runs an event loop, and
/// may show the user a prompt: hosts call read() at a moment that suits them before the first
/// password is used. Another process's new key is seen after forget().
class VELMIO_CORE_EXPORT KeychainKeyStore : public KeyStore
{
public:
    /// Takes the keychain, which must not be null, and asks it nothing yet.
    explicit KeychainKeyStore(std::unique_ptr<Keychain> keychain = Keychain::system());
    ~KeychainKeyStore() override;

    KeyBackend backend() const override { return KeyBackend::Keychain; }

    /// An empty ring when the keychain is open but holds no keys yet. A keychain that is locked and
    /// one that is not there throw KeyError, each with its own cause.
    KeyRing read() override;
    KeyRing change(const Change& change) override;

    /// Has the next use ask the keychain again.
    void forget();

private:
    KeyRing _ReadEntry();

    const std::unique_ptr<Keychain> keychain;
    // Recursive, as what runs in the keychain's event loop may ask for the keys as well.
    QRecursiveMutex mutex;
    std::optional<KeyRing> known;
};

} // namespace sync::core::crypto
