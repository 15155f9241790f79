# quenlofar_add_plugin(NAME SOURCE...): the target quenlofar-container-NAME, a parser plug-in by the name that programs
# look for. Of its functions only those that are marked are seen from outside, and nothing in it keeps it from being
# unloaded.
function(quenlofar_add_plugin name)
    add_library(quenlofar-container-${name} MODULE ${ARGN})
    target_link_libraries(quenlofar-container-${name} PRIVATE quenlofar::container-abstract)
    target_compile_options(quenlofar-container-${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
    set_target_properties(quenlofar-container-${name} PROPERTIES
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
endfunction()
