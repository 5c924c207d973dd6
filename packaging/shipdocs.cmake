# The user documentation as the package ships it: the same Markdown, except that a link to a file the
# package does not carry (a developer's page, a picture, a test) becomes its plain text, and a picture the
# package does not carry is left out, so that no link in /usr/share/doc/vortane-quillar leads nowhere.
#
#   cmake -DSOURCE_ROOT=<checkout> -DOUTPUT_DIR=<folder> -DFILES="README.md|docs/install.md|..." -P shipdocs.cmake
#
# FILES are the shipped pages, relative to the checkout, in the layout they are installed in ("|" or ";"
# between them).
cmake_minimum_required(VERSION 3.16)
string(REPLACE "|" ";" FILES "${FILES}")
foreach(page IN LISTS FILES)
    file(READ "${SOURCE_ROOT}/${page}" text)
    get_filename_component(folder "${page}" DIRECTORY)
    string(REGEX MATCHALL "!?\\[[^]]*\\]\\([^)]*\\)" links "${text}")
    foreach(link IN LISTS links)
        string(REGEX REPLACE "^(!?)\\[([^]]*)\\]\\(([^)]*)\\)$" "\\1" bang "${link}")
        string(REGEX REPLACE "^(!?)\\[([^]]*)\\]\\(([^)]*)\\)$" "\\2" label "${link}")
        string(REGEX REPLACE "^(!?)\\[([^]]*)\\]\\(([^)]*)\\)$" "\\3" target "${link}")
        # Addresses with a scheme and anchors in the same page stay as they are.
        if(target MATCHES "^[a-zA-Z][a-zA-Z0-9+.-]*:" OR target MATCHES "^#")
            continue()
        endif()
        string(REGEX REPLACE "[#? ].*$" "" target_file "${target}")
        get_filename_component(resolved "/root/${folder}/${target_file}" ABSOLUTE)
        file(RELATIVE_PATH resolved "/root" "${resolved}")
        if(resolved IN_LIST FILES)
            continue()
        endif()
        if(bang STREQUAL "!")
            string(REPLACE "${link}" "" text "${text}")
        else()
            string(REPLACE "${link}" "${label}" text "${text}")
        endif()
    endforeach()
    get_filename_component(out_folder "${OUTPUT_DIR}/${page}" DIRECTORY)
    file(MAKE_DIRECTORY "${out_folder}")
    file(WRITE "${OUTPUT_DIR}/${page}" "${text}")
endforeach()
