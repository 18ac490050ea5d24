#include <core/SecureBytes.h>

#include <base/Sodium.h>

#include <algorithm>
#include <new>
#include <utility>

namespace sync::core::crypto {

SecureBytes::SecureBytes(std::size_t size)
    : bytes(nullptr)
    , length(size)
{
    base::initializeSodium();
    // Also locks the pages, and continues if the system refuses that.
    bytes = static_cast<unsigned char*>(sodium_malloc(size));
    if (!bytes)
        throw std::bad_alloc();
}

SecureBytes::~SecureBytes()
{
    sodium_free(bytes); // Wipes them; null is fine.
}

SecureBytes::SecureBytes(SecureBytes&& other) noexcept
    : bytes(std::exchange(other.bytes, nullptr))
    , length(std::exchange(other.length, 0))
{
}

SecureBytes& SecureBytes::operator=(SecureBytes&& other) noexcept
{
    std::swap(bytes, other.bytes);
    std::swap(length, other.length);
    return *this;
}

SecureBytes SecureBytes::copyOf(std::span<const unsigned char> bytes)
{
    SecureBytes copy(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.bytes);
    return copy;
}

SecureBytes SecureBytes::random(std::size_t size)
{
    SecureBytes fresh(size);
    randombytes_buf(fresh.bytes, size);
    return fresh;
}

} // namespace sync::core::crypto
