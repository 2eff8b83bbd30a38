# What `cmake --install` lays out, and the Debian package of the desk tool
# that `cpack -G DEB` makes from it:
#   bin/zsl-replay                          the desk tool            (component tool)
#   lib/.../com.korvan.zsl.default.so       the plug-in              (tool)
#   lib/.../libcom.korvan.*.so, libcutils_properties.so   the host layer (tool)
#   share/man/man1/zsl-replay*.1.gz         the man pages            (tool)
#   share/korvan-zsl/examples/, share/doc/korvan-zsl/                (tool)
#   include/korvan-zsl/                     the API and host headers (dev)
#   lib/.../cmake/KorvanZsl/                find_package(KorvanZsl)  (dev)
include(CMakePackageConfigHelpers)

set(ZSL_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/KorvanZsl)
set(ZSL_INSTALL_DATADIR ${CMAKE_INSTALL_DATADIR}/korvan-zsl)
set(ZSL_INSTALL_DOCDIR ${CMAKE_INSTALL_DATADIR}/doc/korvan-zsl)

# Installed libraries find each other beside themselves, the tool finds them
# from bin/, and both keep the path of Debian's Android host libraries.
set(host_libraries com.korvan.metadatautils com.korvan.debug cutils_properties)
set_target_properties(${host_libraries} zsl_default PROPERTIES
    INSTALL_RPATH "$ORIGIN" INSTALL_RPATH_USE_LINK_PATH ON)
set_target_properties(com.korvan.metadatautils PROPERTIES EXPORT_NAME metadatautils)
set_target_properties(com.korvan.debug PROPERTIES EXPORT_NAME debug)
set_target_properties(zsl_api PROPERTIES EXPORT_NAME api)

install(TARGETS ${host_libraries} host_headers zsl_api EXPORT KorvanZslTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT tool)
install(TARGETS zsl_default LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT tool)
install(DIRECTORY host/include/ common/api/ DESTINATION ${ZSL_INSTALL_INCLUDEDIR} COMPONENT dev
    FILES_MATCHING PATTERN "*.h")

install(EXPORT KorvanZslTargets NAMESPACE KorvanZsl:: DESTINATION ${ZSL_INSTALL_CMAKEDIR} COMPONENT dev)
configure_package_config_file(cmake/KorvanZslConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/KorvanZslConfig.cmake
    INSTALL_DESTINATION ${ZSL_INSTALL_CMAKEDIR} PATH_VARS CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/KorvanZslConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KorvanZslConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/KorvanZslConfigVersion.cmake
    cmake/AndroidHostLibs.cmake DESTINATION ${ZSL_INSTALL_CMAKEDIR} COMPONENT dev)

install(DIRECTORY examples/ DESTINATION ${ZSL_INSTALL_DATADIR}/examples COMPONENT tool)
install(FILES README.md DESTINATION ${ZSL_INSTALL_DOCDIR} COMPONENT tool)
# The README links into docs/, kept as in the repository.
install(DIRECTORY docs/ DESTINATION ${ZSL_INSTALL_DOCDIR}/docs COMPONENT tool)

if(TARGET zsl-replay)
    set_target_properties(zsl-replay PROPERTIES
        INSTALL_RPATH "$ORIGIN/${ZSL_LIBDIR_FROM_BINDIR}" INSTALL_RPATH_USE_LINK_PATH ON)
    install(TARGETS zsl-replay RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)

    # The man pages: zsl-replay(1) and one per subcommand, made from the
    # command line itself; a cross build cannot run their writer.
    if(NOT CMAKE_CROSSCOMPILING)
        set(man_dir ${CMAKE_CURRENT_BINARY_DIR}/man)
        set(man_pages zsl-replay replay explain whatif summarize compare tags)
        list(TRANSFORM man_pages PREPEND zsl-replay- AT 1 2 3 4 5 6)
        set(man_files ${man_pages})
        list(TRANSFORM man_files PREPEND ${man_dir}/)
        list(TRANSFORM man_files APPEND .1.gz)
        set(gzip_commands)
        foreach(page ${man_pages})
            list(APPEND gzip_commands COMMAND gzip -9nf ${man_dir}/${page}.1)
        endforeach()
        add_custom_command(OUTPUT ${man_files}
            COMMAND ${CMAKE_COMMAND} -E make_directory ${man_dir}
            COMMAND zsl-replay-manpages ${man_dir}
            ${gzip_commands}
            DEPENDS zsl-replay-manpages VERBATIM)
        add_custom_target(zsl-replay-manpages-gz ALL DEPENDS ${man_files})
        install(FILES ${man_files} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
    endif()
endif()

# cpack -G DEB: two packages. zsl-replay, the desk tool (component tool), its
# dependencies on Debian's runtime libraries found by dpkg-shlibdeps; and
# zsl-fleet (component fleet), the same tool on a Dask cluster, apart so that
# a desk install does not pull in Dask and its twenty packages.
set(CPACK_PACKAGE_NAME zsl-replay)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Korvan camera team <camera@korvan.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "ZSL frame-selection plug-in and its replay tool")
set(CPACK_PACKAGE_DESCRIPTION "zsl-replay replays zero-shutter-lag captures through the frame-selection
plug-in as the camera framework calls it, and explains captures from a device's logcat or bug report.")
set(CPACK_COMPONENTS_ALL tool fleet)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_TOOL_PACKAGE_NAME zsl-replay)
set(CPACK_DEBIAN_FLEET_PACKAGE_NAME zsl-fleet)
set(CPACK_DEBIAN_FLEET_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_FLEET_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_FLEET_PACKAGE_DEPENDS "zsl-replay (= ${PROJECT_VERSION}), python3, python3-distributed, python3-fsspec")
set(CPACK_DEBIAN_FLEET_DESCRIPTION "zsl-replay explain over a field trial's bug reports on a Dask cluster
zsl-fleet reads files, folders and fsspec URLs on a local or remote Dask cluster into one capture
table, the same bytes zsl-replay explain writes on one machine, and prints its summary.")
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_INSTALL_FULL_LIBDIR})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
