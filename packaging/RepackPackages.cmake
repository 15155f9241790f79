# CPack runs this on the packages that it made. They are packed again by Debian's own tool, with all times from
# SOURCE_DATE_EPOCH; and without the scripts that CPack adds to call ldconfig, which the library's trigger does.
foreach(package ${CPACK_PACKAGE_FILES})
    set(contents ${CPACK_TEMPORARY_DIRECTORY}/repacked)
    foreach(command
            "rm;-rf;${contents}"
            "dpkg-deb;--raw-extract;${package};${contents}"
            "rm;-f;${contents}/DEBIAN/postinst;${contents}/DEBIAN/postrm"
            "dpkg-deb;--root-owner-group;-Zxz;--build;${contents};${package}")
        execute_process(COMMAND ${command} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
endforeach()
