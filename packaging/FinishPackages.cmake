# CPack runs this between installing each component into a directory of its own and making packages of them: what every
# Debian package has beside the project's files. All files get the time of SOURCE_DATE_EPOCH, so that packages of the
# same sources are the same.
set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY})
set(epoch $ENV{SOURCE_DATE_EPOCH})
if(NOT epoch)
    message(FATAL_ERROR "set SOURCE_DATE_EPOCH to the time of the sources, or call ./dev package")
endif()

function(run)
    execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(component ${CPACK_COMPONENTS_ALL})
    string(TOUPPER ${component} key)
    set(package ${CPACK_DEBIAN_${key}_PACKAGE_NAME})
    set(usr ${root}/${component}/usr)
    set(documents ${usr}/share/doc/${package})
    file(COPY ${CPACK_QUENLOFAR_SOURCE_DIR}/packaging/copyright DESTINATION ${documents}
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    execute_process(
        COMMAND python3 ${CPACK_QUENLOFAR_SOURCE_DIR}/packaging/debianchangelog.py ${CPACK_QUENLOFAR_SOURCE_DIR}/CHANGELOG.md
            quenlofar ${CPACK_DEBIAN_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE} ${epoch}
            ${CPACK_DEBIAN_PACKAGE_MAINTAINER}
        OUTPUT_FILE ${documents}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
    configure_file(${CPACK_QUENLOFAR_SOURCE_DIR}/packaging/lintian-overrides
        ${usr}/share/lintian/overrides/${package} COPYONLY)
    file(GLOB pages ${usr}/share/man/man1/*.1)
    run(gzip --best --no-name ${documents}/changelog.Debian ${pages})
    run(find ${root}/${component} -type d -exec chmod 755 {} +)
    run(find ${root}/${component} -type f -exec chmod 644 {} +)
    if(EXISTS ${usr}/bin)
        run(chmod -R a+x ${usr}/bin)
    endif()
    run(find ${root}/${component} -exec touch --no-dereference --date=@${epoch} {} +)
endforeach()
