# velmio_compile_for_one_run(<target>)
#
# Turns off optimization and fuzzer instrumentation in a sanitized test, because they take longer to
# compile than they save when the test runs.
function(velmio_compile_for_one_run target)
    if(VELMIO_SANITIZERS)
        target_compile_options(${target} PRIVATE -O0)
    endif()
    if(VELMIO_BUILD_FUZZERS)
        target_compile_options(${target} PRIVATE -fno-sanitize=fuzzer-no-link)
    endif()
endfunction()

# Before a path in a program for Windows: under wine, this system's files are on drive Z.
if(WIN32 AND CMAKE_CROSSCOMPILING)
    set(VELMIO_TEST_DRIVE "Z:")
endif()

# Tests that are left out on Windows: <name> <reason>. Single functions are in the same list.
set(VELMIO_LEFT_OUT "")
if(WIN32)
    file(STRINGS "${PROJECT_SOURCE_DIR}/tests/left-out-on-windows.txt" VELMIO_LEFT_OUT REGEX "^Test[A-Za-z0-9]+ ")
    list(TRANSFORM VELMIO_LEFT_OUT REPLACE " .*" "")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS tests/left-out-on-windows.txt)
endif()

# velmio_add_test(<name> LABEL <unit|contract|fault|...> [ONE_THREAD] [SOURCES ...] [LINK ...])
#
# Adds a Qt Test program from <name>.cpp and SOURCES, with its own settings folder. `ctest -L`
# selects it by its label. A ONE_THREAD test is not built with the thread sanitizer, which cannot
# find anything in it.
function(velmio_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "ONE_THREAD" "LABEL" "SOURCES;LINK")
    if(arg_ONE_THREAD AND VELMIO_SANITIZERS MATCHES "thread")
        return()
    endif()
    set(left_out "")
    if(name IN_LIST VELMIO_LEFT_OUT)
        set(left_out EXCLUDE_FROM_ALL)
    endif()
    add_executable(${name} ${left_out} ${name}.cpp ${arg_SOURCES})
    velmio_configure_target(${name})
    # Qt's macro takes a tenth of the time of AUTOMOC.
    set_target_properties(${name} PROPERTIES AUTOMOC OFF)
    qt_generate_moc(${name}.cpp ${name}.moc TARGET ${name})
    target_sources(${name} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${name}.moc")
    target_include_directories(${name} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}")
    velmio_compile_for_one_run(${name})
    if(TARGET VelmioPrecompiledTests)
        set_target_properties(${name} PROPERTIES PRECOMPILE_HEADERS_REUSE_FROM VelmioPrecompiledTests)
    endif()
    target_link_libraries(${name} PRIVATE Velmio::TestSupport Velmio::Configuration ${arg_LINK})
    if(left_out)
        return()
    endif()
    set(home "${CMAKE_CURRENT_BINARY_DIR}/${name}.home")
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(
        ${name}
        PROPERTIES
            LABELS "${arg_LABEL}"
            TIMEOUT 600
            ENVIRONMENT
            "QT_LOGGING_RULES=;XDG_CONFIG_HOME=${home};XDG_DATA_HOME=${home}/share;XDG_STATE_HOME=${home}/state"
    )
endfunction()

# velmio_add_internals(<library>...)
#
# Adds Velmio::<library>Internals, an archive of the library's objects, for tests of symbols that
# the library does not export. The address sanitizer and the linker for
# Windows are told that both copies are meant.
function(velmio_add_internals)
    foreach(library IN LISTS ARGN)
        set(target Velmio${library}Internals)
        add_library(${target} STATIC EXCLUDE_FROM_ALL "$<TARGET_OBJECTS:Velmio${library}>")
        set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
        target_link_libraries(${target} INTERFACE Velmio::${library} ${VELMIO_${library}_PRIVATE_LINK})
        if(MINGW)
            target_link_options(${target} INTERFACE LINKER:--allow-multiple-definition)
        endif()
        add_library(Velmio::${library}Internals ALIAS ${target})
    endforeach()
endfunction()
