# quenlofar_add_test(NAME SOURCES file... LIBRARIES target...): one QtTest program, one CTest entry.
function(quenlofar_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
    add_executable(${name} ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES AUTOMOC ON RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} ${QT}::Test project_warnings)
    quenlofar_precompile_test(${name})
    target_compile_definitions(${name} PRIVATE
        QUENLOFAR_PLUGINS_FROM_TESTS="../${QUENLOFAR_INSTALL_PLUGIN_DIR}" # build trees may be moved
        QUENLOFAR_SAMPLES_DIR="${CMAKE_SOURCE_DIR}/samples")
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT 300)
endfunction()
