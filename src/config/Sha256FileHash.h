#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>
#include <interf/ICryptographicHash.h>

namespace sync::config {

/// A hash service for FileConfigManager: SHA-256 in lower-case hexadecimal digits.
///
/// Uses the same amount of memory for files of any size. Any thread may use it.
class VELMIO_CONFIGURATION_EXPORT Sha256FileHash : public interf::ICryptographicHash
{
public:
    ~Sha256FileHash() override;

    /// Empty if the file cannot be read completely, or is not a regular file: the hash does not
    /// wait for data from another process.
    QString GetFileHash(QString absoluteFilePath) override;
};

} // namespace sync::config
