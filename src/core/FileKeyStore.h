#pragma once
#include <core/PosixSync.h>

#include <core/KeyStore.h>

#include <QString>

#include <memory>

namespace sync::core::crypto {

/// Keys in a file that only its owner can read. It is made on first use; of several processes that
/// race to make it one wins, and all use the winner's.
///
/// The file is refused when it is a symbolic link or no regular file, belongs to another user, lets
/// its group or others in, or is damaged.
class VELMIO_CORE_EXPORT FileKeyStore : public KeyStore
{
public:
    /// A store over the key file at `path`; touches nothing yet.
    explicit FileKeyStore(QString path = defaultPath());
    ~FileKeyStore() override;

    /// "velmio/password.key" in the user's application data.
    static QString defaultPath();

    KeyBackend backend() const override { return KeyBackend::File; }

    /// Looks at the file each time, and reads it again only when it is another or has changed.
    KeyRing read() override;
    KeyRing change(const Change& change) override;

    /// The path of the key file. A file with ".lock" behind that name keeps changes apart.
    QString path() const { return filePath; }

private:
    struct Cache;

    void _Write(const KeyRing& ring, bool replace);

    const QString filePath;
    const std::unique_ptr<Cache> cache;
};

} // namespace sync::core::crypto
