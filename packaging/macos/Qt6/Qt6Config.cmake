# Qt's frameworks and headers in VELMIO_MACOS_SYSROOT, with the tools of the system that builds.
set(Qt6Core_VERSION_MAJOR 6)
set(Qt6Core_VERSION_MINOR 4)

if(NOT TARGET Qt6::moc)
    add_executable(Qt6::moc IMPORTED)
    find_program(VELMIO_MOC moc PATHS /usr/lib/qt6/libexec NO_DEFAULT_PATH REQUIRED)
    set_target_properties(Qt6::moc PROPERTIES IMPORTED_LOCATION "${VELMIO_MOC}")
endif()
foreach(component IN LISTS Qt6_FIND_COMPONENTS)
    if(NOT TARGET Qt6::${component})
        add_library(Qt6::${component} INTERFACE IMPORTED)
        string(TOUPPER ${component} capital)
        target_compile_definitions(Qt6::${component} INTERFACE QT_${capital}_LIB)
        target_compile_features(Qt6::${component} INTERFACE cxx_std_17)
        target_include_directories(
            Qt6::${component} SYSTEM
            INTERFACE "${VELMIO_MACOS_SYSROOT}/include" "${VELMIO_MACOS_SYSROOT}/include/Qt${component}"
        )
        target_link_options(Qt6::${component} INTERFACE "-F${VELMIO_MACOS_SYSROOT}/lib")
        target_link_libraries(Qt6::${component} INTERFACE "-framework Qt${component}")
        if(NOT component STREQUAL Core)
            target_link_libraries(Qt6::${component} INTERFACE Qt6::Core)
        endif()
    endif()
    set(Qt6${component}_FOUND TRUE)
endforeach()

# The first of Qt's own module that the tests call.
function(qt_generate_moc input output option target)
    set(moc_output "${CMAKE_CURRENT_BINARY_DIR}/${output}")
    get_filename_component(moc_input "${input}" ABSOLUTE)
    add_custom_command(
        OUTPUT "${moc_output}"
        COMMAND Qt6::moc -o "${moc_output}" "${moc_input}"
        DEPENDS "${moc_input}"
        VERBATIM
    )
endfunction()
