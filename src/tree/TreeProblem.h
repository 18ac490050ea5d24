#pragma once
#include <core/PosixSync.h>

#include <QByteArray>

namespace sync::tree {

/// A folder or file that cannot be compared with its record, or whose record cannot be written.
struct TreeProblem
{
    /// What is wrong, and what that means.
    enum class Kind {
        UnreadableFolder,  ///< Nothing in it is compared, or not all.
        InvalidFolderName, ///< No record can hold the name: it is not valid UTF-8, or on Windows
                           ///< one with which programs open something else.
        InvalidFileName,   ///< The same for a file.
        InaccessibleFile,  ///< Not even its size is known.
        UnreadableFile,    ///< Its content cannot be read, so its record has no checksum.
        UnstableFile,  ///< It changed or vanished while it was read; its record is left as it is.
        RefusedFolder, ///< It has no record, because its parent has none.
        UnstorableRecord, ///< The record has properties or links that cannot be stored again.
    };

    Kind kind;       ///< What is wrong.
    QByteArray path; ///< As the disk has it, which may be invalid UTF-8.
    int error = 0;   ///< The errno of what is unreadable or inaccessible.
    int id = -1;     ///< Of a record that cannot be stored again.
};

} // namespace sync::tree
