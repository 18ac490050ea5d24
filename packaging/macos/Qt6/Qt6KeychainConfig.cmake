if(NOT TARGET Qt6Keychain::Qt6Keychain)
    find_library(VELMIO_KEYCHAIN_STUB qt6keychain REQUIRED)
    add_library(Qt6Keychain::Qt6Keychain UNKNOWN IMPORTED)
    set_target_properties(
        Qt6Keychain::Qt6Keychain
        PROPERTIES
            IMPORTED_LOCATION "${VELMIO_KEYCHAIN_STUB}"
            INTERFACE_INCLUDE_DIRECTORIES "${VELMIO_MACOS_SYSROOT}/include"
    )
endif()
