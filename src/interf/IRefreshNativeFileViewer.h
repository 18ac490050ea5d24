#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>

namespace sync::interf {

/// The host's integration with the desktop's file browser.
class VELMIO_INTERFACES_EXPORT IRefreshNativeFileViewer
{
public:
    virtual ~IRefreshNativeFileViewer();

    /// Asks for the view of a folder to be drawn again. An empty path names no folder.
    ///
    /// Called in the middle of a write, perhaps before its transaction is committed: it must not
    /// wait for another thread that writes.
    virtual void Refresh(QString clientPath) = 0;
};

} // namespace sync::interf
