# The target api-reference: Doxygen's pages of the installed headers in the build directory's html/. ./dev docs builds it.
find_package(Doxygen QUIET)
if(DOXYGEN_FOUND)
    get_target_property(api_headers quenlofar-container-abstract HEADER_SET)
    get_target_property(testing_headers quenlofar-container-abstract HEADER_SET_testing_headers)
    get_target_property(api_directories quenlofar-container-abstract HEADER_DIRS)
    list(APPEND api_headers ${testing_headers})
    list(FILTER api_headers EXCLUDE REGEX "_export\\.h$") # macros, made by CMake
    list(TRANSFORM api_headers PREPEND "\"")
    list(TRANSFORM api_headers APPEND "\"")
    string(JOIN " \\\n                         " api_headers ${api_headers})
    list(TRANSFORM api_directories PREPEND "\"")
    list(TRANSFORM api_directories APPEND "\"")
    string(JOIN " \\\n                         " api_directories ${api_directories})
    configure_file(docs/Doxyfile.in Doxyfile @ONLY)
    add_custom_target(api-reference
        COMMAND Doxygen::doxygen ${CMAKE_BINARY_DIR}/Doxyfile
        COMMENT "API reference"
        VERBATIM)
endif()
