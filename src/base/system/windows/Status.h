#pragma once

#include <base/system/windows/Native.h>

namespace sync::base {

FileKind kindOf(DWORD attributes, DWORD reparseTag);

/// Opens an existing file or folder, also one that others have open. With Links::Keep a link itself
/// is opened.
FileDescriptor openNative(const std::wstring& path, DWORD access, Links links);

/// Opens what a name in an open folder leads to, or a link itself. Not by a path, because somebody
/// may have exchanged the folder.
FileDescriptor openIn(NativeFile folder, const QString& name, DWORD access);

bool isConsole(HANDLE handle);

/// What a person types, as UTF-8; read as UTF-16, because the console gives nothing else whole.
qint64 readConsole(HANDLE console, char* bytes, std::size_t size);

} // namespace sync::base
