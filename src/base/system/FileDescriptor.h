#pragma once

#include <cstdint>
#include <utility>

namespace sync::base {

/// An open file or folder as the system names it: a descriptor of POSIX, or a HANDLE of Windows.
/// -1 means none.
using NativeFile = std::intptr_t;

/// Owns an open file or folder.
class FileDescriptor
{
public:
    explicit FileDescriptor(NativeFile descriptor) noexcept
        : descriptor(descriptor)
    {
    }
    FileDescriptor(FileDescriptor&& other) noexcept
        : descriptor(std::exchange(other.descriptor, -1))
    {
    }
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        std::swap(descriptor, other.descriptor);
        return *this;
    }
    ~FileDescriptor()
    {
        if (isOpen())
            close();
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    bool isOpen() const noexcept { return descriptor != -1; }
    NativeFile get() const noexcept { return descriptor; }

private:
    void close() noexcept;

    NativeFile descriptor;
};

} // namespace sync::base
