#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>

namespace sync::config {

/// A reference from one file to another. A value.
class VELMIO_CONFIGURATION_EXPORT FileLink
{
public:
    /// An empty link.
    FileLink() = default;
    virtual ~FileLink();

    /// Takes along every member. @{
    FileLink(const FileLink& other) = default;
    FileLink(FileLink&& other) noexcept = default;
    FileLink& operator=(const FileLink& other) = default;
    FileLink& operator=(FileLink&& other) noexcept = default;
    ///@}

    /// True when the link leads nowhere: neither file, server file nor path. Such a link is never
    /// stored, whatever its RefId.
    bool isEmpty() const { return FileId == -1 && ServerFileId.isEmpty() && Path.isEmpty(); }

    /// The linked file's id among the ordinary files; -1 when it is not known.
    int FileId = -1;
    /// Path of the linked file, absolute or relative to the folder of the file that links to it.
    QString Path;
    /// The reference's own identifier, never interpreted here.
    QString RefId;
    /// The server's id of the linked file.
    QString ServerFileId;
};

} // namespace sync::config

Q_DECLARE_TYPEINFO(sync::config::FileLink, Q_RELOCATABLE_TYPE);
