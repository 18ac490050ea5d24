#pragma once
#include <core/PosixSync.h>

#include <core/KeyStore.h>

#include <QRecursiveMutex>

#include <memory>
#include <optional>

namespace sync::core::crypto {

/// The library's one entry in a keychain. A KeychainKeyStore calls it from one thread at a time.
class VELMIO_CORE_EXPORT Keychain
{
public:
    /// The result of an operation.
    enum class Status {
        Done,   ///< The entry was read or written.
        Empty,  ///< The keychain is open, but does not have the entry.
        Locked, ///< It is locked, or the user denied access.
        Absent, ///< No keychain is available.
        Failed, ///< Any other error; see the answer's error.
    };

    /// The answer of the keychain.
    struct Answer
    {
        Status status = Status::Failed; ///< The result of the operation.
        QByteArray entry = {};          ///< The content that was read.
        QString error = {};             ///< The keychain's own text for a person.
    };

    virtual ~Keychain();

    /// Reads the entry; may run an event loop and show the user a prompt.
    virtual Answer read() = 0;

    /// Writes the entry and replaces an earlier one; may run an event loop and show a prompt.
    virtual Answer write(const QByteArray& entry) = 0;

    /// The operating system's keychain. Always absent in a build without VELMIO_WITH_KEYCHAIN.
    static std::unique_ptr<Keychain> system();
};

/// Keys in the operating system's keychain.
///
/// Reads the keychain once and then keeps the keys in memory. Reading runs an event loop and may
/// show the user a prompt, so hosts call read() at a suitable moment before they use the first
/// password. A new key of another process is visible after forget().
class VELMIO_CORE_EXPORT KeychainKeyStore : public KeyStore
{
public:
    /// Takes the keychain, which must not be null, and does not call it yet.
    explicit KeychainKeyStore(std::unique_ptr<Keychain> keychain = Keychain::system());
    ~KeychainKeyStore() override;

    KeyBackend backend() const override { return KeyBackend::Keychain; }

    /// An empty ring if the keychain is open but has no keys yet. Throws KeyError for a locked
    /// keychain and for an absent one, each with its own cause.
    KeyRing read() override;
    KeyRing change(const Change& change) override;

    /// Makes the next use read the keychain again.
    void forget();

private:
    KeyRing _ReadEntry();

    const std::unique_ptr<Keychain> keychain;
    // Recursive, because code that runs in the keychain's event loop may also read the keys.
    QRecursiveMutex mutex;
    std::optional<KeyRing> known;
};

} // namespace sync::core::crypto
