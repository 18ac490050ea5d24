#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>

namespace sync::interf {

/// Computes the checksum that identifies the content of a file.
class VELMIO_INTERFACES_EXPORT ICryptographicHash
{
public:
    virtual ~ICryptographicHash();

    /// The checksum of the file's content as text; empty if the file cannot be read.
    virtual QString GetFileHash(QString absoluteFilePath) = 0;
};

} // namespace sync::interf
