# project_shared_library: how the code of our shared libraries is compiled. A call from one of their functions to another
# goes there directly and may be inlined; nobody replaces single functions of ours at load time.
add_library(project_shared_library INTERFACE)
target_compile_options(project_shared_library INTERFACE -fno-semantic-interposition)
target_link_options(project_shared_library INTERFACE LINKER:-Bsymbolic-functions)
