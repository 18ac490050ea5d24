# embed_sql(<variable> FOLDER <folder> HEADER <header> NAMESPACE <namespace> FUNCTION <function>)
#
# Writes a source file that holds the numbered SQL scripts of a folder (0001-name.sql, 0002-...) as
# the array that the function of the header returns, and stores its path in <variable>.
function(embed_sql variable)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "FOLDER;HEADER;NAMESPACE;FUNCTION" "")
    file(GLOB scripts CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${arg_FOLDER}/[0-9]*.sql")
    list(SORT scripts)
    set(entries "")
    set(expected 1)
    foreach(script IN LISTS scripts)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${script}")
        get_filename_component(name "${script}" NAME)
        string(REGEX MATCH "^[0-9]+" number "${name}")
        math(EXPR version "${number}")
        if(NOT version EQUAL expected)
            message(FATAL_ERROR "${name}: the scripts are not numbered from 1 without a gap")
        endif()
        math(EXPR expected "${expected} + 1")
        file(READ "${script}" text)
        string(APPEND entries "R\"sql(${text})sql\",\n")
    endforeach()
    set(output "${CMAKE_CURRENT_BINARY_DIR}/${arg_FOLDER}.cpp")
    file(
        CONFIGURE
        OUTPUT "${output}"
        CONTENT
            "#include <@arg_HEADER@>\n\nnamespace @arg_NAMESPACE@ {\n\nconst std::vector<std::string_view>& @arg_FUNCTION@()\n{\n    static const std::vector<std::string_view> scripts = {\n@entries@};\n    return scripts;\n}\n\n} // namespace @arg_NAMESPACE@\n"
        @ONLY
    )
    set(${variable} "${output}" PARENT_SCOPE)
endfunction()
