# quenlofar_check_symbols(TARGET): tests that the library exports what the file exported-symbols.txt beside it lists.
#
# What is exported depends on the compiler, on its flags and on Qt; the lists are those of g++, Qt 6 and a release.
function(quenlofar_check_symbols target)
    set(test exported_symbols_${target})
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND QUENLOFAR_QT EQUAL 6 AND CMAKE_BUILD_TYPE STREQUAL Release
            AND NOT QUENLOFAR_SANITIZE)
        find_program(QUENLOFAR_PYTHON NAMES python3 REQUIRED)
        add_test(NAME ${test} COMMAND ${QUENLOFAR_PYTHON} ${CMAKE_SOURCE_DIR}/tools/symbols.py
            ${CMAKE_CURRENT_SOURCE_DIR}/exported-symbols.txt $<TARGET_FILE:${target}>)
    else()
        add_test(NAME ${test} COMMAND ${CMAKE_COMMAND} -E echo
            "skipped: exported symbols are checked in release builds by g++ with Qt 6")
        set_tests_properties(${test} PROPERTIES SKIP_REGULAR_EXPRESSION "^skipped: ")
    endif()
endfunction()
