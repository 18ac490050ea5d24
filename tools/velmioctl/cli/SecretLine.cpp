#include <velmioctl/cli/SecretLine.h>

#include <cerrno>
#include <unistd.h>

using sync::core::crypto::SecureBytes;

namespace velmioctl {

SecureBytes readSecretLine(int descriptor, const std::function<bool()>& wait)
{
    SecureBytes line(LongestSecretBytes + 1);
    std::size_t size = 0;
    while (size < line.size() && wait()) {
        const ssize_t count = ::read(descriptor, line.data() + size, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0 || line.data()[size] == '\n')
            break;
        ++size;
    }
    if (size > 0 && line.data()[size - 1] == '\r')
        --size;
    return SecureBytes::copyOf({line.data(), size});
}

} // namespace velmioctl
