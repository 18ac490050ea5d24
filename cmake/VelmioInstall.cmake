# Installs the files for find_package() and pkg-config.

configure_package_config_file(
    "${PROJECT_SOURCE_DIR}/cmake/VelmioConfigurationConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/VelmioConfigurationConfig.cmake"
    INSTALL_DESTINATION "${VELMIO_PACKAGE_DIR}"
    NO_SET_AND_CHECK_MACRO
)
write_basic_package_version_file(
    "${PROJECT_BINARY_DIR}/VelmioConfigurationConfigVersion.cmake" COMPATIBILITY SameMajorVersion
)
install(
    FILES
        "${PROJECT_BINARY_DIR}/VelmioConfigurationConfig.cmake"
        "${PROJECT_BINARY_DIR}/VelmioConfigurationConfigVersion.cmake"
        "${PROJECT_SOURCE_DIR}/cmake/VelmioPackages.cmake"
    DESTINATION "${VELMIO_PACKAGE_DIR}"
    COMPONENT Development
)

# Paths are relative to the .pc file, so that the installed tree can be moved.
file(
    RELATIVE_PATH VELMIO_PC_PREFIX
    "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig"
    "${CMAKE_INSTALL_PREFIX}"
)
file(RELATIVE_PATH VELMIO_PC_LIBDIR "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_LIBDIR}")
file(RELATIVE_PATH VELMIO_PC_INCLUDEDIR "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
# Only hosts of static libraries need the libraries that ours use.
set(VELMIO_PC_REQUIRES "Qt6Core")
set(VELMIO_PC_DEFINITIONS "")
set(VELMIO_PC_LIBS "")
if(NOT BUILD_SHARED_LIBS)
    string(APPEND VELMIO_PC_REQUIRES " Qt6Xml libsodium sqlite3")
    set(VELMIO_PC_LIBS " -lVelmioBase")
    set(VELMIO_PC_DEFINITIONS " -DVELMIO_STATIC")
    if(VELMIO_WITH_KEYCHAIN)
        string(APPEND VELMIO_PC_LIBS " -lqt6keychain")
        if(UNIX AND NOT APPLE)
            string(APPEND VELMIO_PC_REQUIRES " Qt6DBus")
        endif()
    endif()
endif()
configure_file(
    "${PROJECT_SOURCE_DIR}/cmake/velmio-configuration.pc.in"
    "${PROJECT_BINARY_DIR}/velmio-configuration.pc"
    @ONLY
)
install(
    FILES "${PROJECT_BINARY_DIR}/velmio-configuration.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
    COMPONENT Development
)
