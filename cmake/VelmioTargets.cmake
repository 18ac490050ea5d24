# Settings of all targets of the project.

if(MSVC)
    # Without __cplusplus and standard conformance, Qt 6 refuses the compiler.
    set(VELMIO_WARNING_OPTIONS /W4 /permissive- /Zc:__cplusplus /utf-8)
    set(VELMIO_WARNINGS_AS_ERRORS_OPTION /WX)
else()
    set(VELMIO_WARNING_OPTIONS
        -Wall
        -Wextra
        -Wpedantic
        # A constructor parameter may have the name of the member that it initializes.
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
    set(VELMIO_WARNINGS_AS_ERRORS_OPTION -Werror)
endif()

# MSVC has no <unistd.h>, whose function this renames. One item, so that CMake does not merge the
# "-include" of several libraries into one.
set(VELMIO_FORCED_INCLUDE
    "$<$<AND:$<COMPILE_LANGUAGE:CXX,OBJCXX>,$<NOT:$<CXX_COMPILER_ID:MSVC>>>:SHELL:-include core/PosixSync.h>"
)

# What makes an exploit of a memory error harder. The sanitizers find the errors themselves.
if(VELMIO_HARDENING AND NOT VELMIO_SANITIZERS)
    include(CheckCXXCompilerFlag)
    include(CheckPIESupported)
    check_pie_supported(LANGUAGES CXX)
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    # Some compilers accept a flag with a warning that it does nothing.
    set(CMAKE_REQUIRED_FLAGS -Werror)
    set(flags -fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
    # For Windows, gcc 12 fails in some functions with it.
    if(MINGW)
        list(REMOVE_ITEM flags -fstack-clash-protection)
    endif()
    foreach(flag IN LISTS flags)
        string(MAKE_C_IDENTIFIER "VELMIO_HAS${flag}" has)
        check_cxx_compiler_flag(${flag} ${has})
        if(${has})
            list(APPEND VELMIO_HARDENING_OPTIONS ${flag})
        endif()
    endforeach()
    unset(CMAKE_REQUIRED_FLAGS)
    # _FORTIFY_SOURCE needs an optimizing compiler. Distributions may define a lower level.
    list(
        APPEND VELMIO_HARDENING_OPTIONS
        -D_GLIBCXX_ASSERTIONS
        "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>"
    )
    if(UNIX AND NOT APPLE)
        set(VELMIO_HARDENING_LINK_OPTIONS LINKER:-z,relro LINKER:-z,now)
    elseif(MINGW)
        # Links the library of the stack protector.
        set(VELMIO_HARDENING_LINK_OPTIONS -fstack-protector-strong)
    endif()
endif()

# velmio_add_precompiled_headers(<name> HEADERS ... LINK ...)
#
# Adds a target that precompiles headers for all other targets. With clang, this more than halves
# the build time, because these headers are most of what each source includes. With gcc, ccache
# takes longer for the precompiled header than it saves. Only builds without it detect missing
# includes.
function(velmio_add_precompiled_headers name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;LINK")
    set(source "${PROJECT_BINARY_DIR}/${name}.cpp")
    file(GENERATE OUTPUT "${source}" CONTENT "")
    add_library(${name} OBJECT "${source}")
    velmio_configure_target(${name})
    set_target_properties(${name} PROPERTIES AUTOMOC OFF)
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/src")
    target_link_libraries(${name} PRIVATE ${arg_LINK})
    # Without the timestamp, ccache identifies the header by its content.
    target_compile_options(
        ${name} PRIVATE "$<$<CXX_COMPILER_ID:Clang,AppleClang>:SHELL:-Xclang -fno-pch-timestamp>"
    )
    target_precompile_headers(${name} PRIVATE <core/PosixSync.h> ${arg_HEADERS})
endfunction()

# velmio_sanitize_target(<target>): adds the options that a program needs to link sanitized
# libraries.
function(velmio_sanitize_target target)
    if(VELMIO_SANITIZERS)
        target_compile_options(
            ${target}
            PRIVATE -fsanitize=${VELMIO_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer
        )
        target_link_options(${target} PRIVATE -fsanitize=${VELMIO_SANITIZERS})
    endif()
endfunction()

# velmio_configure_target(<target>): sets warnings, hardening, sanitizers, Qt
# restrictions and hidden symbols.
function(velmio_configure_target target)
    set_target_properties(
        ${target}
        PROPERTIES
            CXX_EXTENSIONS OFF
            CXX_VISIBILITY_PRESET hidden
            VISIBILITY_INLINES_HIDDEN ON
            AUTOMOC ON
            # No header of this project depends on predefined macros.
            AUTOMOC_COMPILER_PREDEFINES OFF
    )
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_compile_definitions(
        ${target}
        PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY QT_NO_KEYWORDS
    )
    target_compile_options(${target} PRIVATE ${VELMIO_WARNING_OPTIONS} ${VELMIO_HARDENING_OPTIONS})
    target_link_options(${target} PRIVATE ${VELMIO_HARDENING_LINK_OPTIONS})
    if(VELMIO_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE ${VELMIO_WARNINGS_AS_ERRORS_OPTION})
    endif()
    velmio_sanitize_target(${target})
    if(VELMIO_BUILD_FUZZERS)
        # Lets the fuzzer see which code paths its inputs take.
        target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
    if(TARGET VelmioPrecompiledQt AND NOT target MATCHES "^VelmioPrecompiled")
        target_precompile_headers(${target} REUSE_FROM VelmioPrecompiledQt)
    endif()
endfunction()

# velmio_add_library(<name> [APART] SOURCES ... [PUBLIC_LINK ...] [PRIVATE_LINK ...])
#
# Adds libVelmio<name> with the alias Velmio::<name>, and installs it as the package component
# <name> with the headers directly in the current folder. APART gives it binary packages of its own,
# for the sake of what it needs.
function(velmio_add_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "APART" "" "SOURCES;PUBLIC_LINK;PRIVATE_LINK")
    set(target Velmio${name})
    file(GLOB headers CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.h")

    add_library(${target} ${arg_SOURCES} ${headers})
    add_library(Velmio::${name} ALIAS ${target})
    velmio_configure_target(${target})
    set_target_properties(
        ${target}
        PROPERTIES
            EXPORT_NAME ${name}
            # The libraries find each other after the tree has been moved.
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
    target_compile_options(${target} PUBLIC "${VELMIO_FORCED_INCLUDE}")
    get_target_property(type ${target} TYPE)
    if(type STREQUAL "STATIC_LIBRARY")
        target_compile_definitions(${target} PUBLIC VELMIO_STATIC)
    endif()
    target_link_libraries(${target} PUBLIC ${arg_PUBLIC_LINK} PRIVATE ${arg_PRIVATE_LINK})
    # For velmio_add_internals().
    set(VELMIO_${name}_PRIVATE_LINK ${arg_PRIVATE_LINK} CACHE INTERNAL "")
    if(VELMIO_INSTALL)
        set(prefix "")
        if(arg_APART)
            set(prefix ${name})
        endif()
        velmio_install_library(${name} PREFIX "${prefix}" HEADERS ${headers})
    endif()
endfunction()

# velmio_install_library(<name> PREFIX <of the install components> HEADERS ...)
#
# Each library has its own export, so that a host of one component needs only the dependencies of
# that component.
function(velmio_install_library name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "PREFIX" "HEADERS")
    get_filename_component(folder "${CMAKE_CURRENT_SOURCE_DIR}" NAME)
    install(
        TARGETS Velmio${name}
        EXPORT Velmio${name}Targets
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT ${arg_PREFIX}Runtime
        LIBRARY
            DESTINATION "${CMAKE_INSTALL_LIBDIR}"
            COMPONENT ${arg_PREFIX}Runtime
            NAMELINK_COMPONENT ${arg_PREFIX}Development
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ${arg_PREFIX}Development
    )
    install(
        FILES ${arg_HEADERS}
        DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/velmio/${folder}"
        COMPONENT ${arg_PREFIX}Development
    )
    install(
        EXPORT Velmio${name}Targets
        NAMESPACE Velmio::
        DESTINATION "${VELMIO_PACKAGE_DIR}"
        COMPONENT ${arg_PREFIX}Development
    )
endfunction()
