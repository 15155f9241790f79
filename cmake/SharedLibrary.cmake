# project_shared_library: how the code of our shared libraries is compiled. A call from one of their functions to another
# goes there directly and may be inlined; nobody replaces single functions of ours at load time. Nothing in them is one
# for the whole process ("unique"): g++ would then keep a plug-in from ever being unloaded.
add_library(project_shared_library INTERFACE)
target_compile_options(project_shared_library INTERFACE
    -fno-semantic-interposition $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
target_link_options(project_shared_library INTERFACE LINKER:-Bsymbolic-functions)
