#pragma once
#include <core/PosixSync.h>

#include <core/KeyStore.h>

#include <QString>

#include <memory>

namespace sync::core::crypto {

/// Keys in a file that only its owner can read. The first use creates the file. If several
/// processes create it at the same time, all use the file of the first one.
///
/// The store refuses a file that is not a regular file, belongs to another user, can be read or
/// changed by its group or others, or is damaged, and one in a folder to which another user may
/// write.
class VELMIO_CORE_EXPORT FileKeyStore : public KeyStore
{
public:
    /// A store over the key file at `path`; does not access the file yet.
    explicit FileKeyStore(QString path = defaultPath());
    ~FileKeyStore() override;

    /// "velmio/password.key" in the folder for the user's state: XDG_STATE_HOME or ~/.local/state,
    /// on macOS ~/Library/Preferences, on Windows "State" in %LOCALAPPDATA%.
    ///
    /// Earlier versions kept it in the user's application data, beside the database. A store at the
    /// default path reads the keys of that file too, moves them, and removes it when they are
    /// durable.
    static QString defaultPath();

    KeyBackend backend() const override { return KeyBackend::File; }

    /// Checks the file each time, and reads it again only if it is another file or has changed.
    /// Needs no right to write.
    KeyRing read() override;

    /// The keys are durable when this returns, also if another process created them.
    KeyRing readOrCreate() override;

    /// Waits up to 5 s for a change by another thread or process, and then throws a KeyError that
    /// names the process. The lock is a file with the name of the key file and ".lock".
    KeyRing change(const Change& change) override;

    /// The path of the key file.
    QString path() const;

private:
    struct Files;

    const std::unique_ptr<Files> files;
};

} // namespace sync::core::crypto
