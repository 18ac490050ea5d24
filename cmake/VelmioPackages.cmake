# velmio_find_library(<name> MODULE <pkg-config module> [PACKAGES <package>=<target>...])
#
# Finds a library as PkgConfig::<name> and sets <name>_FOUND: by the first CMake package that there
# is, such as those of vcpkg and Conan, otherwise by pkg-config. Installed for hosts of static
# libraries too.
macro(velmio_find_library name)
    cmake_parse_arguments(_velmio_find "" "MODULE" "PACKAGES" ${ARGN})
    set(${name}_FOUND FALSE)
    if(TARGET PkgConfig::${name})
        set(${name}_FOUND TRUE)
    endif()
    foreach(_velmio_entry IN LISTS _velmio_find_PACKAGES)
        if(NOT ${name}_FOUND)
            string(REGEX MATCH "^(.*)=(.*)$" _velmio_match "${_velmio_entry}")
            set(_velmio_library "${CMAKE_MATCH_2}")
            find_package(${CMAKE_MATCH_1} CONFIG QUIET)
            if(TARGET ${_velmio_library})
                add_library(PkgConfig::${name} INTERFACE IMPORTED GLOBAL)
                target_link_libraries(PkgConfig::${name} INTERFACE ${_velmio_library})
                set(${name}_FOUND TRUE)
            endif()
        endif()
    endforeach()
    if(NOT ${name}_FOUND)
        find_package(PkgConfig QUIET)
        if(PkgConfig_FOUND)
            pkg_check_modules(${name} QUIET IMPORTED_TARGET GLOBAL "${_velmio_find_MODULE}")
        endif()
    endif()
endmacro()

macro(velmio_find_sodium)
    velmio_find_library(
        Sodium
        MODULE libsodium
        PACKAGES unofficial-sodium=unofficial-sodium::sodium libsodium=libsodium::libsodium
    )
endmacro()
