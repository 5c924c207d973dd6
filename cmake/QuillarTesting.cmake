# quillar_add_test(<name> SOURCES <files…> LIBS <targets…> [LABELS <labels…>] [TIMEOUT <s>])
# One QtTest class per executable, one CTest entry per class; every test runs offscreen.
function(quillar_add_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE Qt6::Test ${ARG_LIBS})
    add_test(NAME ${name} COMMAND ${name})
    if(NOT ARG_LABELS)
        set(ARG_LABELS unit)
    endif()
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    set_tests_properties(${name} PROPERTIES
        LABELS "${ARG_LABELS}"
        TIMEOUT ${ARG_TIMEOUT}
        # The program's log file, settings and SimConnect.cfg are looked for in the build tree, never in the
        # home folder of whoever runs the tests: a user's own quillar.conf or SimConnect.cfg must not change a
        # test's outcome, and no test may write there.
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;ASAN_OPTIONS=detect_leaks=0;XDG_STATE_HOME=${PROJECT_BINARY_DIR}/test-state;XDG_DATA_HOME=${PROJECT_BINARY_DIR}/test-data;XDG_CONFIG_HOME=${PROJECT_BINARY_DIR}/test-config")
endfunction()
