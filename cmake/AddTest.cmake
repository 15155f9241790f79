# quenlofar_add_test(NAME SOURCES file... LIBRARIES target...): one QtTest program, one CTest entry. Its first source
# includes NAME.moc.
function(quenlofar_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES")
    list(GET arg_SOURCES 0 source)
    # By a rule of its own: AUTOMOC adds two targets and one more compilation to every program.
    set(moc ${CMAKE_CURRENT_BINARY_DIR}/moc/${name}.moc)
    add_custom_command(OUTPUT ${moc}
        COMMAND ${QT}::moc -o ${moc} ${CMAKE_CURRENT_SOURCE_DIR}/${source}
        DEPENDS ${source}
        VERBATIM)
    add_executable(${name} ${arg_SOURCES} ${moc})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_include_directories(${name} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/moc)
    target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} ${QT}::Test project_warnings test_options)
    quenlofar_precompile_test(${name})
    target_compile_definitions(${name} PRIVATE
        QUENLOFAR_PLUGINS_FROM_TESTS="../${QUENLOFAR_INSTALL_PLUGIN_DIR}" # build trees may be moved
        QUENLOFAR_SAMPLES_DIR="${CMAKE_SOURCE_DIR}/samples")
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT ${QUENLOFAR_TEST_TIMEOUT})
endfunction()

# How test programs themselves are compiled: they run once, most of their time in the libraries, which are optimised.
add_library(test_options INTERFACE)
target_compile_options(test_options INTERFACE -O0)
