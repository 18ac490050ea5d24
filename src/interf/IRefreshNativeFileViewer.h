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

    /// Redraws the view of a folder. An empty path names no folder.
    ///
    /// Called during a write, possibly before its transaction is committed, so it must not wait for
    /// another thread that writes.
    virtual void Refresh(QString clientPath) = 0;
};

} // namespace sync::interf
