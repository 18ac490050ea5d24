# Adds to the installed trees of the components what Debian requires in a package.

set(packages
    "Runtime=${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME}"
    "Development=${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME}"
    "Tools=${CPACK_DEBIAN_TOOLS_PACKAGE_NAME}"
)
if(CPACK_COMPONENTS_ALL MATCHES FleetTools)
    list(
        APPEND packages
        "FleetRuntime=${CPACK_DEBIAN_FLEETRUNTIME_PACKAGE_NAME}"
        "FleetDevelopment=${CPACK_DEBIAN_FLEETDEVELOPMENT_PACKAGE_NAME}"
        "FleetTools=${CPACK_DEBIAN_FLEETTOOLS_PACKAGE_NAME}"
    )
endif()
foreach(package IN LISTS packages)
    string(REGEX MATCH "(.*)=(.*)" package "${package}")
    set(tree "${CPACK_TEMPORARY_DIRECTORY}/${CMAKE_MATCH_1}/usr")
    set(name "${CMAKE_MATCH_2}")
    set(docs "${tree}/share/doc/${name}")

    file(COPY "${CMAKE_CURRENT_LIST_DIR}/copyright" DESTINATION "${docs}")
    configure_file("${CMAKE_CURRENT_LIST_DIR}/changelog" "${docs}/changelog.Debian" COPYONLY)
    set(overrides "${CMAKE_CURRENT_LIST_DIR}/${name}.lintian-overrides")
    if(EXISTS "${overrides}")
        configure_file("${overrides}" "${tree}/share/lintian/overrides/${name}" COPYONLY)
    endif()

    file(GLOB_RECURSE pages "${tree}/share/man/*.[1-8]")
    execute_process(
        COMMAND gzip -9n "${docs}/changelog.Debian" ${pages}
        COMMAND_ERROR_IS_FATAL ANY
    )

    # The libraries are in a standard path of the loader.
    file(GLOB binaries "${tree}/bin/*" "${tree}/lib/*/*.so.*")
    foreach(binary IN LISTS binaries)
        if(NOT IS_SYMLINK "${binary}")
            file(RPATH_REMOVE FILE "${binary}")
        endif()
    endforeach()
endforeach()
