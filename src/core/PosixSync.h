#pragma once

/// \file
/// Makes the root namespace `sync` compatible with the POSIX function `sync(2)`.
///
/// `<unistd.h>` declares `void sync(void)` in the global scope, and C++ allows only one meaning of
/// that name. This header includes `<unistd.h>` once with the function renamed `posix_sync`, so it
/// must come before any other include of `<unistd.h>` in a translation unit. The CMake targets and
/// the pkg-config file of this library force-include it.

/// \namespace sync
/// The root namespace of the library; it holds nothing but namespaces.

#ifndef VELMIO_POSIX_SYNC_RENAMED
    #define VELMIO_POSIX_SYNC_RENAMED
    // The include guards of glibc and musl, and of the BSDs and macOS.
    #if !defined(_WIN32) && (defined(_UNISTD_H) || defined(_UNISTD_H_) || defined(_SYS_UNISTD_H_))
        #error \
            "<unistd.h> came before <core/PosixSync.h>, so 'namespace sync' cannot be declared. \
Link a Velmio:: target (or use the flags of pkg-config velmio-configuration), or compile with \
'-include core/PosixSync.h', or include <core/PosixSync.h> first."
    #endif
    // MinGW has a <unistd.h> too, but Windows has no such function.
    #if !defined(_WIN32) && __has_include(<unistd.h>)
        #define sync posix_sync
        #include <unistd.h>
        #undef sync
    #endif
#endif
