# The Debian packages: cpack --config build/package/CPackConfig.cmake

set(debian "${CMAKE_CURRENT_LIST_DIR}")

# As usual for Debian, the version and the maintainer come from the changelog.
file(STRINGS "${debian}/changelog" changelog REGEX "^velmio-configuration |^ -- ")
list(GET changelog 0 entry)
list(GET changelog 1 signature)
if(NOT entry MATCHES "\\((.*)-([0-9]+)\\)" OR NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
    message(FATAL_ERROR "${debian}/changelog does not begin with version ${PROJECT_VERSION}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE "${CMAKE_MATCH_2}")
string(REGEX REPLACE "^ -- (.*>)  .*" "\\1" CPACK_PACKAGE_CONTACT "${signature}")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velmio-configuration)
set(CPACK_PACKAGE_VENDOR Velmio)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE
)
set(CPACK_PRE_BUILD_SCRIPTS "${debian}/finish-tree.cmake")

set(CPACK_COMPONENTS_ALL Runtime Development Tools)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Runtime)
set(CPACK_COMPONENT_TOOLS_DEPENDS Runtime)
if(VELMIO_WITH_POSTGRESQL)
    list(APPEND CPACK_COMPONENTS_ALL FleetRuntime FleetDevelopment FleetTools)
    set(CPACK_COMPONENT_FLEETRUNTIME_DEPENDS Runtime)
    set(CPACK_COMPONENT_FLEETDEVELOPMENT_DEPENDS FleetRuntime Development)
    set(CPACK_COMPONENT_FLEETTOOLS_DEPENDS FleetRuntime Tools)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    "${PROJECT_BINARY_DIR}/src/interf"
    "${PROJECT_BINARY_DIR}/src/core"
    "${PROJECT_BINARY_DIR}/src/database"
    "${PROJECT_BINARY_DIR}/src/config"
    "${PROJECT_BINARY_DIR}/src/tree"
)
if(VELMIO_WITH_POSTGRESQL)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/src/fleet")
endif()

set(store
    "Velmio Configuration keeps the settings of a folder-synchronisation client in
an SQLite database: servers, sign-ins, synchronised folders, the state of every
file, and schedules."
)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "libvelmioconfiguration${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# The generated dependency would allow an older SQLite.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libsqlite3-0 (>= 3.37)")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${debian}/triggers")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${store}\n.\nThis package contains the shared libraries.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvelmioconfiguration-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "qt6-base-dev (>= 6.4)")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "${store}\n.\nThis package contains the headers and files to build programs with it."
)

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME velmioctl)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "${store}\n.\nThis package contains velmioctl, a tool to inspect and maintain a database."
)

set(fleet "It also keeps copies of the stores of many clients in PostgreSQL, and
reports over them.")
set(CPACK_DEBIAN_FLEETRUNTIME_PACKAGE_NAME "libvelmiofleet${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_FLEETRUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_FLEETRUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_FLEETRUNTIME_PACKAGE_CONTROL_EXTRA "${debian}/triggers")
set(CPACK_COMPONENT_FLEETRUNTIME_DESCRIPTION
    "${store}\n${fleet}\n.\nThis package contains the shared library for PostgreSQL."
)
set(CPACK_DEBIAN_FLEETDEVELOPMENT_PACKAGE_NAME libvelmiofleet-dev)
set(CPACK_DEBIAN_FLEETDEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_FLEETDEVELOPMENT_DESCRIPTION
    "${store}\n${fleet}\n.\nThis package contains the header and files to build programs
with that."
)
set(CPACK_DEBIAN_FLEETTOOLS_PACKAGE_NAME velmioctl-fleet)
set(CPACK_DEBIAN_FLEETTOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_FLEETTOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_FLEETTOOLS_DESCRIPTION
    "${store}\n${fleet}\n.\nThis package contains what velmioctl needs to push stores and to report
over them."
)

include(CPack)
