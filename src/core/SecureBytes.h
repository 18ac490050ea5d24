#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <cstddef>
#include <span>

namespace sync::core::crypto {

/// Secret bytes on pages of their own: kept out of swap and core dumps where the system allows it,
/// and wiped when they go.
class VELMIO_CORE_EXPORT SecureBytes
{
public:
    /// `size` bytes of any content; throws std::bad_alloc when there is no memory for them.
    explicit SecureBytes(std::size_t size);
    ~SecureBytes();

    /// Takes the bytes over; `other` is to be assigned or destroyed only. @{
    SecureBytes(SecureBytes&& other) noexcept;
    SecureBytes& operator=(SecureBytes&& other) noexcept;
    ///@}

    SecureBytes(const SecureBytes&) = delete;
    SecureBytes& operator=(const SecureBytes&) = delete;

    /// A copy of bytes that lie elsewhere; wiping those is the caller's business.
    static SecureBytes copyOf(std::span<const unsigned char> bytes);

    /// Bytes from the cryptographic random generator.
    static SecureBytes random(std::size_t size);

    /// The first byte, for as long as this lives. @{
    unsigned char* data() noexcept { return bytes; }
    const unsigned char* data() const noexcept { return bytes; }
    ///@}

    /// How many bytes they are.
    std::size_t size() const noexcept { return length; }

private:
    unsigned char* bytes;
    std::size_t length;
};

} // namespace sync::core::crypto
