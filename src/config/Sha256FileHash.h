#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <interf/ICryptographicHash.h>

namespace sync::config {

/// A hash service for FileConfigManager: SHA-256 in lower-case hexadecimal digits.
///
/// Needs the same memory for files of any size. Any thread may use it.
class VELMIO_CONFIGURATION_EXPORT Sha256FileHash : public interf::ICryptographicHash
{
public:
    ~Sha256FileHash() override;

    /// Empty when the file cannot be read to its end, and for all that is no regular file: nothing
    /// is waited for that another process would have to send.
    QString GetFileHash(QString absoluteFilePath) override;
};

} // namespace sync::config
