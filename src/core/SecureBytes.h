#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <cstddef>
#include <span>

namespace sync::core::crypto {

/// Secret bytes on pages of their own. The pages are excluded from swap and core dumps if the
/// system allows it, and are wiped at the end.
class VELMIO_CORE_EXPORT SecureBytes
{
public:
    /// `size` bytes with undefined content; throws std::bad_alloc if no memory is available.
    explicit SecureBytes(std::size_t size);
    ~SecureBytes();

    /// Takes the bytes over. Only assign to or destroy `other` afterwards. @{
    SecureBytes(SecureBytes&& other) noexcept;
    SecureBytes& operator=(SecureBytes&& other) noexcept;
    ///@}

    SecureBytes(const SecureBytes&) = delete;
    SecureBytes& operator=(const SecureBytes&) = delete;

    /// A copy of other bytes. The caller has to wipe those.
    static SecureBytes copyOf(std::span<const unsigned char> bytes);

    /// Bytes from the cryptographic random generator.
    static SecureBytes random(std::size_t size);

    /// The first byte, valid as long as this object. @{
    unsigned char* data() noexcept { return bytes; }
    const unsigned char* data() const noexcept { return bytes; }
    ///@}

    /// The number of bytes.
    std::size_t size() const noexcept { return length; }

private:
    unsigned char* bytes;
    std::size_t length;
};

} // namespace sync::core::crypto
