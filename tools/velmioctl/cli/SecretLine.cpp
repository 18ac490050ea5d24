#include <velmioctl/cli/SecretLine.h>

#include <base/system/Files.h>

using sync::core::crypto::SecureBytes;

namespace velmioctl {

SecureBytes readSecretLine(sync::base::NativeFile file, const std::function<bool()>& wait)
{
    SecureBytes line(LongestSecretBytes + 1);
    std::size_t size = 0;
    while (size < line.size() && wait()) {
        const qint64 count = sync::base::readBytes(file, line.data() + size, 1);
        if (count <= 0 || line.data()[size] == '\n')
            break;
        ++size;
    }
    if (size > 0 && line.data()[size - 1] == '\r')
        --size;
    return SecureBytes::copyOf({line.data(), size});
}

} // namespace velmioctl
