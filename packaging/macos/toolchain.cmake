# Builds for macOS on a Debian system, with what packaging/macos/get-dependencies has put into
# VELMIO_MACOS_SYSROOT. What it links cannot be run there.
set(VELMIO_MACOS_SYSROOT "$ENV{VELMIO_MACOS_SYSROOT}" CACHE PATH "The folder of get-dependencies")
if(NOT EXISTS "${VELMIO_MACOS_SYSROOT}/complete")
    message(FATAL_ERROR "Set VELMIO_MACOS_SYSROOT, or run './dev check macos'")
endif()
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VELMIO_MACOS_SYSROOT)

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR arm64)
set(CMAKE_CXX_COMPILER "${VELMIO_MACOS_SYSROOT}/bin/c++")
set(CMAKE_CXX_COMPILER_TARGET aarch64-macos.11.0)
set(CMAKE_AR "${VELMIO_MACOS_SYSROOT}/bin/ar")
set(CMAKE_RANLIB "${VELMIO_MACOS_SYSROOT}/bin/ranlib")
# Only zig's own headers and libraries, not those of an SDK.
set(CMAKE_OSX_SYSROOT "")
set(CMAKE_USER_MAKE_RULES_OVERRIDE "${CMAKE_CURRENT_LIST_DIR}/rpath.cmake")
# Zig adds the undefined-behaviour sanitizer to what is not optimized.
set(CMAKE_CXX_FLAGS_INIT -fno-sanitize=undefined)

set(CMAKE_FIND_ROOT_PATH "${VELMIO_MACOS_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(Qt6_DIR "${CMAKE_CURRENT_LIST_DIR}/Qt6")
set(Qt6Keychain_DIR "${CMAKE_CURRENT_LIST_DIR}/Qt6")
set(ENV{PKG_CONFIG_LIBDIR} "${VELMIO_MACOS_SYSROOT}/lib/pkgconfig")
