# Where programs and libraries look for the libraries that they need (RUNPATH): in places relative to themselves, so that
# build trees and installations may be moved. An empty or relative entry would be the directory that the user is in;
# tools/tests/test_searchpaths.py looks for those.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# quenlofar_search_from(TARGET DIRECTORY): TARGET, which is installed into DIRECTORY, finds our libraries from there.
#
# The build tree is laid out like an installation, so what is linked is installed as it is. Otherwise CMake would
# replace RUNPATH when it installs the file, and until then fill it up with colons: empty entries.
function(quenlofar_search_from target directory)
    set(root /quenlofar) # any: only the way from one place to the other counts
    file(RELATIVE_PATH libraries ${root}/${directory} ${root}/${CMAKE_INSTALL_LIBDIR})
    string(REGEX REPLACE "/$" "" libraries "${libraries}")
    set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH_USE_LINK_PATH ON)
    if(libraries)
        set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
    endif()
endfunction()
