# What `cpack` makes in a build folder: Debian's packages, one a component of ZorInstall.cmake.
# scripts/package calls it.
set(ZOR_MAINTAINER "The makers of zor <zor@example.org>" CACHE STRING
    "Who answers for the packages")
set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_NAME zor)
set(CPACK_PACKAGE_CONTACT ${ZOR_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian/prepare.cmake)
set(CPACK_ZOR_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_ZOR_STRIP ${CMAKE_STRIP})

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development simulator)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SOURCE zor)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME zor-console)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS "rlwrap, bash-completion")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "diagnostics of a media recorder
The console is the operator's dialogue with the recorder application on the
device; zor-diag asks one question for a script and tells by its exit code
how it went.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzor-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libstdc++-12-dev | libstdc++-dev, python3:any, binutils")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "support library of a media recorder
Documents in XML, function tracing with crash reports, files, threads and
logs, in C++20. The library to link, its headers, and zor-report, which puts
functions, files and lines to the addresses of a crash report.")

set(CPACK_DEBIAN_SIMULATOR_PACKAGE_NAME zor-recorder-sim)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SUGGESTS zor-console)
set(CPACK_COMPONENT_SIMULATOR_DESCRIPTION "recorder application for the desk, simulated
It answers zor-console and zor-diag as the recorder application of a device
does, with faults and crashes on demand, and shows itself in a browser.")
include(CPack)
