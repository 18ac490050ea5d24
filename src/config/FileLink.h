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

    /// Copies and moves every member. @{
    FileLink(const FileLink& other) = default;
    FileLink(FileLink&& other) noexcept = default;
    FileLink& operator=(const FileLink& other) = default;
    FileLink& operator=(FileLink&& other) noexcept = default;
    ///@}

    /// True if the link has no target: no file, server file or path. Such a link is never stored,
    /// whatever its RefId.
    bool isEmpty() const { return FileId == -1 && ServerFileId.isEmpty() && Path.isEmpty(); }

    /// True if the link comes back from the database exactly as it is, or is empty: its texts have
    /// no control character other than tab, line feed and carriage return, no half of a surrogate
    /// pair, and neither U+FFFE nor U+FFFF.
    bool isStorable() const;

    /// The linked file's id among the ordinary files; -1 if it is unknown.
    int FileId = -1;
    /// Path of the linked file, absolute or relative to the folder of the linking file.
    QString Path;
    /// The reference's own identifier, which the library never interprets.
    QString RefId;
    /// The server's id of the linked file.
    QString ServerFileId;
};

} // namespace sync::config

Q_DECLARE_TYPEINFO(sync::config::FileLink, Q_RELOCATABLE_TYPE);
