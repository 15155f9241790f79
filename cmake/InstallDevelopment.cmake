# What others need to build against the framework: a package for find_package(quenlofar), and one for pkg-config. Both
# name the directory for parser plug-ins, and both find everything relative to themselves: an installation may be moved.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quenlofar)
set(plugin_dir ${QUENLOFAR_INSTALL_PLUGIN_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/quenlofarConfig.cmake.in quenlofarConfig.cmake
    INSTALL_DESTINATION ${package_dir} PATH_VARS plugin_dir)
write_basic_package_version_file(quenlofarConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(EXPORT quenlofarTargets NAMESPACE quenlofar:: DESTINATION ${package_dir} COMPONENT development)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/quenlofarConfig.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/quenlofarConfigVersion.cmake
    ${CMAKE_CURRENT_LIST_DIR}/QuenlofarAddPlugin.cmake
    DESTINATION ${package_dir} COMPONENT development)

set(install_root /quenlofar) # any: only the way from one place to the other counts
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(no_unique_symbols) # pkg-config's users get what QuenlofarAddPlugin.cmake gives those of CMake
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    set(no_unique_symbols -fno-gnu-unique)
endif()
file(RELATIVE_PATH root_from_pkgconfig ${install_root}/${pkgconfig_dir} ${install_root})
string(REGEX REPLACE "/$" "" root_from_pkgconfig ${root_from_pkgconfig})
configure_file(${CMAKE_CURRENT_LIST_DIR}/quenlofar-container-abstract.pc.in quenlofar-container-abstract.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quenlofar-container-abstract.pc
    DESTINATION ${pkgconfig_dir} COMPONENT development)
