#pragma once

#include <base/system/Files.h>

#include <string>

#ifndef NOMINMAX
    #define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
    #define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

namespace sync::base {

inline HANDLE handleOf(NativeFile file)
{
    return reinterpret_cast<HANDLE>(file);
}

inline NativeFile fileOfHandle(HANDLE handle)
{
    return reinterpret_cast<NativeFile>(handle);
}

/// A path as Windows takes it without a limit of 260 characters and without changing a name, such
/// as one with a dot at its end (learn.microsoft.com, "Maximum Path Length Limitation").
std::wstring nativePath(const QString& path);

/// Sets errno to what GetLastError() says, and returns false.
bool failed();

/// True if a reparse point leads to another place; others mark files in a cloud, or compressed
/// ones.
bool isLinkTag(DWORD reparseTag);

/// A name from the disk. A surrogate without a partner is encoded like other characters.
std::string toUtf8(std::wstring_view name);

/// What has been allocated by the system for a call.
template <typename Pointer>
class LocalMemory
{
public:
    LocalMemory() = default;
    explicit LocalMemory(Pointer memory)
        : memory(memory)
    {
    }
    ~LocalMemory() { ::LocalFree(memory); }
    LocalMemory(const LocalMemory&) = delete;
    LocalMemory& operator=(const LocalMemory&) = delete;

    Pointer get() const { return memory; }
    Pointer* out() { return &memory; }

private:
    Pointer memory = nullptr;
};

/// The security attributes for a new file or folder that only its owner may use.
class OwnerAlone
{
public:
    enum class For { File, Folder };
    explicit OwnerAlone(For what);

    SECURITY_ATTRIBUTES* attributes() { return &values; }

private:
    LocalMemory<PSECURITY_DESCRIPTOR> descriptor;
    SECURITY_ATTRIBUTES values{};
};

} // namespace sync::base
