# project_warnings: linked privately by every target of ours, never by users of the libraries.
add_library(project_warnings INTERFACE)
target_compile_options(project_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wold-style-cast -Wcast-align -Wformat=2 -Wimplicit-fallthrough -Wundef
    $<$<BOOL:${QUENLOFAR_WERROR}>:-Werror>)
# GCC takes sources that are compiled together for headers, in which a class with parts of an unnamed namespace would be
# another one in each file that includes them. Here each class is in one source.
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    target_compile_options(project_warnings INTERFACE -Wno-subobject-linkage)
endif()
# Texts convert between character sets only where the code says so.
target_compile_definitions(project_warnings INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH QT_NO_KEYWORDS QT_NO_URL_CAST_FROM_STRING)
