# What every target of the project has in common.

set(VELMIO_WARNING_OPTIONS
    -Wall
    -Wextra
    -Wpedantic
    # A constructor parameter may be named like the member that it fills.
    "$<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>"
    -Wconversion
    -Wsign-conversion
    -Wnon-virtual-dtor
    -Woverloaded-virtual
    -Wold-style-cast
    -Wcast-align
    -Wformat=2
    -Wimplicit-fallthrough
    -Wundef
    -Wextra-semi
)

# velmio_add_precompiled_headers(<name> HEADERS ... LINK ...)
#
# Makes a target that compiles headers once for all others: they are most of what a source reads, and
# with clang this more than halves the time of a build. With gcc the compiler's cache takes longer
# over the precompiled header than it saves. The builds without it see which includes are missing.
function(velmio_add_precompiled_headers name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;LINK")
    set(source "${PROJECT_BINARY_DIR}/${name}.cpp")
    file(GENERATE OUTPUT "${source}" CONTENT "")
    add_library(${name} OBJECT "${source}")
    velmio_configure_target(${name})
    set_target_properties(${name} PROPERTIES AUTOMOC OFF)
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/src")
    target_link_libraries(${name} PRIVATE ${arg_LINK})
    # The compiler's cache knows it again by its content alone.
    target_compile_options(
        ${name} PRIVATE "$<$<CXX_COMPILER_ID:Clang,AppleClang>:SHELL:-Xclang -fno-pch-timestamp>"
    )
    target_precompile_headers(${name} PRIVATE <core/PosixSync.h> ${arg_HEADERS})
endfunction()

# What a program needs that links sanitized libraries.
function(velmio_sanitize_target target)
    if(VELMIO_SANITIZERS)
        target_compile_options(
            ${target}
            PRIVATE -fsanitize=${VELMIO_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer
        )
        target_link_options(${target} PRIVATE -fsanitize=${VELMIO_SANITIZERS})
    endif()
endfunction()

# Warnings, sanitizers, strict Qt and hidden symbols for one of our targets.
function(velmio_configure_target target)
    set_target_properties(
        ${target}
        PROPERTIES
            CXX_EXTENSIONS OFF
            CXX_VISIBILITY_PRESET hidden
            VISIBILITY_INLINES_HIDDEN ON
            AUTOMOC ON
            # No header of ours asks what it is compiled for.
            AUTOMOC_COMPILER_PREDEFINES OFF
    )
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_compile_definitions(
        ${target}
        PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY QT_NO_KEYWORDS
    )
    target_compile_options(${target} PRIVATE ${VELMIO_WARNING_OPTIONS})
    if(VELMIO_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    velmio_sanitize_target(${target})
    if(VELMIO_BUILD_FUZZERS)
        # Shows the fuzzer which ways through the libraries its inputs take.
        target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
    if(TARGET VelmioPrecompiledQt AND NOT target MATCHES "^VelmioPrecompiled")
        target_precompile_headers(${target} REUSE_FROM VelmioPrecompiledQt)
    endif()
endfunction()

# velmio_add_library(<name> SOURCES ... [PUBLIC_LINK ...] [PRIVATE_LINK ...])
#
# Adds libVelmio<name> with the alias Velmio::<name> from the sources in the current folder, and
# installs it with the headers that lie directly in that folder, as the package component <name>.
function(velmio_add_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;PUBLIC_LINK;PRIVATE_LINK")
    set(target Velmio${name})
    file(GLOB headers CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.h")

    add_library(${target} ${arg_SOURCES} ${headers})
    add_library(Velmio::${name} ALIAS ${target})
    velmio_configure_target(${target})
    set_target_properties(
        ${target}
        PROPERTIES
            EXPORT_NAME ${name}
            # The libraries find each other wherever they are moved to.
            INSTALL_RPATH "$<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>"
            VERSION ${PROJECT_VERSION}
            SOVERSION ${PROJECT_VERSION_MAJOR}
    )
    target_include_directories(
        ${target}
        PUBLIC
            "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>"
            "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/velmio>"
    )
    # One item, so that CMake does not merge the "-include" of several libraries into one.
    target_compile_options(
        ${target} PUBLIC "$<$<COMPILE_LANGUAGE:CXX,OBJCXX>:SHELL:-include core/PosixSync.h>"
    )
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "STATIC_LIBRARY")
        target_compile_definitions(${target} PUBLIC VELMIO_STATIC)
    endif()
    target_link_libraries(${target} PUBLIC ${arg_PUBLIC_LINK} PRIVATE ${arg_PRIVATE_LINK})
    # For velmio_add_internals().
    set(VELMIO_${name}_PRIVATE_LINK ${arg_PRIVATE_LINK} CACHE INTERNAL "")
    if(VELMIO_INSTALL)
        velmio_install_library(${name} HEADERS ${headers})
    endif()
endfunction()

# velmio_install_library(<name> HEADERS ...)
#
# Each library has an export of its own, so that a host of one component needs only what that
# one needs.
function(velmio_install_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS")
    get_filename_component(folder "${CMAKE_CURRENT_SOURCE_DIR}" NAME)
    install(
        TARGETS Velmio${name}
        EXPORT Velmio${name}Targets
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT Runtime
        LIBRARY
            DESTINATION "${CMAKE_INSTALL_LIBDIR}"
            COMPONENT Runtime
            NAMELINK_COMPONENT Development
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT Development
    )
    install(
        FILES ${arg_HEADERS}
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/velmio/${folder}"
        COMPONENT Development
    )
    install(
        EXPORT Velmio${name}Targets
        NAMESPACE Velmio::
        DESTINATION "${VELMIO_PACKAGE_DIR}"
        COMPONENT Development
    )
endfunction()
