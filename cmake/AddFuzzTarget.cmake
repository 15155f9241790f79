# quenlofar_add_fuzz_target(NAME SOURCES file... LIBRARIES target... [INPUTS path...]): one fuzz target.
#
# With QUENLOFAR_FUZZ (clang++ only; QUENLOFAR_SANITIZE then has to name fuzzer-no-link) it is linked with libFuzzer;
# tools/fuzz runs it. Otherwise it gets a plain main and a CTest entry that tries corpus/NAME and INPUTS, so that no
# target rots and no finding comes back.
add_custom_target(fuzz-targets)
if(QUENLOFAR_FUZZ)
    add_compile_definitions(QT_FORCE_ASSERTS) # those of Qt's containers, in our own code
endif()

# RapidJSON reads again what was printed; its headers are not ours to warn about. Its stacks begin as null pointers, to which it adds sizes.
function(quenlofar_use_rapidjson name)
    find_path(RAPIDJSON_INCLUDE_DIR rapidjson/document.h REQUIRED)
    target_include_directories(${name} SYSTEM PRIVATE ${RAPIDJSON_INCLUDE_DIR})
    if(QUENLOFAR_SANITIZE MATCHES undefined)
        target_compile_options(${name} PRIVATE -fno-sanitize=pointer-overflow)
    endif()
endfunction()

function(quenlofar_add_fuzz_target name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBRARIES;INPUTS")
    add_executable(${name} ${arg_SOURCES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
    target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/container-abstract/fuzz)
    target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} project_warnings)
    quenlofar_use_rapidjson(${name})
    add_dependencies(fuzz-targets ${name})
    if(QUENLOFAR_FUZZ)
        # What the target itself does is not what the fuzzer should look for ways through.
        target_compile_options(${name} PRIVATE -fno-sanitize=fuzzer-no-link)
        target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    else()
        target_sources(${name} PRIVATE ${CMAKE_SOURCE_DIR}/container-abstract/fuzz/replaymain.cpp)
        target_link_libraries(${name} PRIVATE test_options)
        add_test(NAME ${name} COMMAND ${name} ${CMAKE_CURRENT_SOURCE_DIR}/corpus/${name} ${arg_INPUTS})
        set_tests_properties(${name} PROPERTIES TIMEOUT ${QUENLOFAR_TEST_TIMEOUT})
    endif()
endfunction()
