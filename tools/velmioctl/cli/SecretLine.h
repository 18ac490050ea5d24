#pragma once

#include <base/system/FileDescriptor.h>
#include <core/SecureBytes.h>

#include <functional>

namespace velmioctl {

/// The longest secret that is read, in bytes.
constexpr std::size_t LongestSecretBytes = 65'536;

/// Reads the first line of an open file, without its end, into memory that is wiped. Byte by byte,
/// so that what follows stays unread. One byte longer than the longest secret if the line is.
///
/// `wait` is called before each byte; the line ends if it returns false.
sync::core::crypto::SecureBytes readSecretLine(
    sync::base::NativeFile file, const std::function<bool()>& wait = [] { return true; });

} // namespace velmioctl
