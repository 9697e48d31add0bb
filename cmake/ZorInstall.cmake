# What `cmake --install` puts where, in three components:
#   runtime      the console's programs with their pages and completion, and the library if it is a
#                shared one
#   development  headers, the library to link, what find_package() and pkg-config read, zor-report
#   simulator    zor-recorder-sim
include(CMakePackageConfigHelpers)

if(ZOR_BUILD_PROGRAMS)
    install(TARGETS zor-console zor-diag COMPONENT runtime)
    install(PROGRAMS packaging/shell/zor-console-shell TYPE BIN COMPONENT runtime)
    install(FILES docs/man/zor-console.1 docs/man/zor-console-shell.1 docs/man/zor-diag.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT runtime)
    install(FILES docs/man/zor.7 DESTINATION ${CMAKE_INSTALL_MANDIR}/man7 COMPONENT runtime)
    install(FILES packaging/completion/zor-diag
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT runtime)
    install(TARGETS zor-recorder-sim COMPONENT simulator)
    install(FILES docs/man/zor-recorder-sim.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT simulator)
endif()

install(TARGETS zor EXPORT zor-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zor COMPONENT development)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zor)
install(EXPORT zor-targets NAMESPACE zor:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/zor-config.cmake.in zor-config.cmake
    INSTALL_DESTINATION ${package_dir}
    NO_SET_AND_CHECK_MACRO)
# Before 1.0 a new minor version may break what an older one promised.
write_basic_package_version_file(zor-config-version.cmake COMPATIBILITY SameMinorVersion)
install(
    FILES ${PROJECT_BINARY_DIR}/zor-config.cmake ${PROJECT_BINARY_DIR}/zor-config-version.cmake
    DESTINATION ${package_dir} COMPONENT development)

# pkg-config finds the folders from its own file, so that an installed tree can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(ABSOLUTE_PATH pkgconfig_dir BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}
    OUTPUT_VARIABLE pkgconfig_path)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${pkgconfig_path}
    OUTPUT_VARIABLE ZOR_PREFIX_FROM_PKGCONFIG)
foreach(dir IN ITEMS LIBDIR INCLUDEDIR)
    set(ZOR_PKGCONFIG_${dir} "\${prefix}")
    cmake_path(APPEND ZOR_PKGCONFIG_${dir} ${CMAKE_INSTALL_${dir}})
endforeach()
list(TRANSFORM ZOR_DEFINITIONS PREPEND -D OUTPUT_VARIABLE ZOR_PKGCONFIG_DEFINITIONS)
list(JOIN ZOR_PKGCONFIG_DEFINITIONS " " ZOR_PKGCONFIG_DEFINITIONS)
configure_file(cmake/zor.pc.in zor.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zor.pc DESTINATION ${pkgconfig_dir} COMPONENT development)

# For the desk. The link leads Python to the modules beside the program; the second of their folders
# has the version filled in.
set(report_dir ${CMAKE_INSTALL_DATADIR}/zor)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_DATADIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR}
    OUTPUT_VARIABLE datadir_from_bindir)
file(CREATE_LINK ${datadir_from_bindir}/zor/zor-report ${PROJECT_BINARY_DIR}/zor-report SYMBOLIC)
configure_file(scripts/zor_report/__init__.py zor_report/__init__.py @ONLY)
install(PROGRAMS scripts/zor-report DESTINATION ${report_dir} COMPONENT development)
install(DIRECTORY scripts/zor_report ${PROJECT_BINARY_DIR}/zor_report DESTINATION ${report_dir}
    COMPONENT development FILES_MATCHING PATTERN *.py)
install(FILES ${PROJECT_BINARY_DIR}/zor-report TYPE BIN COMPONENT development)
install(FILES docs/man/zor-report.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT development)
