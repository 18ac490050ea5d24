#pragma once
#include <core/PosixSync.h>

#include <utility>

namespace sync::base {

/// Owns an open file of the operating system; -1 means none.
class FileDescriptor
{
public:
    explicit FileDescriptor(int descriptor) noexcept
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
            ::close(descriptor);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    bool isOpen() const noexcept { return descriptor >= 0; }
    int get() const noexcept { return descriptor; }

private:
    int descriptor;
};

} // namespace sync::base
