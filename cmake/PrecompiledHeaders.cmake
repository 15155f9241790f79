# Qt's headers take most of the time of a compilation: targets with many sources read them once.

# quenlofar_precompile(TARGET): for its sources, what nearly all of them include.
function(quenlofar_precompile target)
    target_precompile_headers(${target} PRIVATE
        <QByteArray> <QString> <QStringList> <QVector> <algorithm> <functional> <limits> <memory> <optional> <vector>)
endfunction()

# quenlofar_precompile_test(TARGET): for a test program; all of a directory read one file of compiled headers. Where its
# programs use more of Qt than Core and Test, test_modules names those modules.
function(quenlofar_precompile_test target)
    # By directory, because Qt tells each test where its sources stand.
    file(RELATIVE_PATH model ${CMAKE_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    string(MAKE_C_IDENTIFIER precompiled_${model} model)
    if(NOT TARGET ${model})
        # A program as the tests are: the compiler takes a file of compiled headers only with the flags it was made with.
        file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/testprecompiled.cpp CONTENT "int main() { return 0; }\n")
        add_executable(${model} ${CMAKE_BINARY_DIR}/testprecompiled.cpp)
        set_target_properties(${model} PROPERTIES
            EXCLUDE_FROM_ALL ON RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
        target_link_libraries(${model} PRIVATE ${QT}::Test ${test_modules} project_warnings test_options)
        target_precompile_headers(${model} PRIVATE
            <QBuffer> <QByteArray> <QString> <QStringList> <QTest> <QVector> <algorithm> <functional> <limits> <memory>
            <optional> <vector>)
    endif()
    target_precompile_headers(${target} REUSE_FROM ${model})
endfunction()
