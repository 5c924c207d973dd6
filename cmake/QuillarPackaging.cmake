# Helpers for what the project installs. Debian wants manual pages and the changelog gzip-compressed, and
# CPack installs files as they are, so they are compressed at build time. gzip -n leaves the name and the
# time out of the header, so the same source gives the same bytes on every build.

# quillar_install_gzipped(<source file> <destination folder> [RENAME <installed name without .gz>])
function(quillar_install_gzipped source destination)
    cmake_parse_arguments(ARG "" "RENAME" "" ${ARGN})
    get_filename_component(source "${source}" ABSOLUTE)
    if(ARG_RENAME)
        set(name "${ARG_RENAME}")
    else()
        get_filename_component(name "${source}" NAME)
    endif()
    find_program(QUILLAR_GZIP gzip REQUIRED)
    string(MAKE_C_IDENTIFIER "${destination}/${name}" target)
    set(output "${PROJECT_BINARY_DIR}/gzipped/${target}/${name}.gz")
    add_custom_command(OUTPUT "${output}"
        COMMAND ${CMAKE_COMMAND} -E make_directory "${PROJECT_BINARY_DIR}/gzipped/${target}"
        COMMAND "${QUILLAR_GZIP}" -9 -n -c "${source}" > "${output}"
        DEPENDS "${source}"
        COMMENT "Compressing ${name}"
        VERBATIM)
    add_custom_target(quillar_gzip_${target} ALL DEPENDS "${output}")
    install(FILES "${output}" DESTINATION "${destination}")
endfunction()

# quillar_install_man_page(<page source, e.g. packaging/man/quillar.1>): installs it compressed into the
# manual section its file name ends with.
function(quillar_install_man_page source)
    include(GNUInstallDirs)
    get_filename_component(name "${source}" NAME)
    string(REGEX MATCH "[0-9]$" section "${name}")
    if(NOT section)
        message(FATAL_ERROR "quillar_install_man_page: ${source} does not end with a manual section")
    endif()
    quillar_install_gzipped("${source}" "${CMAKE_INSTALL_MANDIR}/man${section}")
endfunction()
