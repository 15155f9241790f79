# Debian packages, made by cpack: one per component of the installation. Configure with the preset "package"; the rest
# is in packaging/ and in ./dev package.

# A version that is not released yet is older than its release.
file(STRINGS CHANGELOG.md newest_heading REGEX "^## " LIMIT_COUNT 1)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
set(QUENLOFAR_PACKAGE_VERSION ${PROJECT_VERSION})
if(newest_heading MATCHES "Unreleased")
    string(APPEND QUENLOFAR_PACKAGE_VERSION ~dev)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quenlofar)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has one of its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL library plugin-avi program development)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/FinishPackages.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/RepackPackages.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_VERSION ${QUENLOFAR_PACKAGE_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "quenlofar maintainers <maintainers@quenlofar.invalid>")
set(CPACK_DEBIAN_PACKAGE_SOURCE quenlofar)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(library libquenlofar-container-abstract${QUENLOFAR_ABI})
set(same_library "${library} (= ${QUENLOFAR_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

configure_file(packaging/shlibs.in packaging/shlibs @ONLY)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
    ${PROJECT_BINARY_DIR}/packaging/shlibs ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "framework for showing what is in media files
This library walks container files with parser plug-ins and hands every
element, field and byte on: printed as text or JSON, kept as a tree, compared
or accounted for. Damaged files are walked to their end.")

set(CPACK_DEBIAN_PLUGIN-AVI_PACKAGE_NAME quenlofar-container-avi)
set(CPACK_DEBIAN_PLUGIN-AVI_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PLUGIN-AVI_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_PLUGIN-AVI_PACKAGE_DEPENDS ${same_library})
set(CPACK_DEBIAN_PLUGIN-AVI_DESCRIPTION "parser plug-in of quenlofar for AVI files
This plug-in knows the chunks and fields of AVI files: headers, formats,
indexes, texts. The program quenlofar and all others that use its framework
find it by themselves.")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME quenlofar)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "${same_library}, quenlofar-container-avi")
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "show everything that is in an AVI file
This program shows every chunk of a file, every field with its place in the
file and its meaning, and every byte that belongs to no known field. It is as
much at home in broken files as in good ones.
.
Output is text for people or JSON for programs. Manual pages and completions
for bash, zsh and fish are included.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libquenlofar-container-abstract-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_MULTIARCH same)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${same_library}, qt6-base-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "framework for showing what is in media files (development files)
Headers, CMake and pkg-config packages of the framework of quenlofar: what is
needed to build programs that use it, and parser plug-ins.")

set(CPACK_QUENLOFAR_SOURCE_DIR ${PROJECT_SOURCE_DIR}) # for the script
include(CPack)
