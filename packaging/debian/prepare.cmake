# Run by CPack between installing and packing: what Debian asks of a package's files, and what makes
# two builds of the same sources the same bytes.
cmake_minimum_required(VERSION 3.25)

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_VARIABLE out
        OUTPUT_STRIP_TRAILING_WHITESPACE)
    set(out "${out}" PARENT_SCOPE)
endfunction()

# The time of all files, and of the changelog's entry.
if("$ENV{SOURCE_DATE_EPOCH}" STREQUAL "")
    run(git -C ${CPACK_ZOR_SOURCE_DIR} log -1 --format=%ct)
    set(ENV{SOURCE_DATE_EPOCH} ${out})
endif()
set(epoch $ENV{SOURCE_DATE_EPOCH})

# dpkg-shlibdeps looks for the device's libraries where DEB_HOST_ARCH says.
if(CPACK_DEBIAN_PACKAGE_ARCHITECTURE)
    set(ENV{DEB_HOST_ARCH} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
endif()

run(env LC_ALL=C date --utc -R --date=@${epoch})
set(changelog "zor (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * What has changed is in changelog.gz.

 -- ${CPACK_PACKAGE_CONTACT}  ${out}
")

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component})
    string(TOUPPER ${component} COMPONENT)
    set(doc ${root}/usr/share/doc/${CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME})
    file(COPY ${CPACK_ZOR_SOURCE_DIR}/packaging/debian/copyright DESTINATION ${doc})
    file(WRITE ${doc}/changelog.Debian "${changelog}")
    file(COPY_FILE ${CPACK_ZOR_SOURCE_DIR}/CHANGELOG.md ${doc}/changelog)
    file(GLOB pages ${root}/usr/share/man/man*/*)
    run(gzip -9n ${doc}/changelog.Debian ${doc}/changelog ${pages})

    file(GLOB_RECURSE archives ${root}/usr/lib/*.a)
    foreach(archive IN LISTS archives)
        run(${CPACK_ZOR_STRIP} --strip-debug --enable-deterministic-archives
            --remove-section=.comment --remove-section=.note ${archive})
    endforeach()

    # The cross compiler's packages do not tell which version of a library has the symbols that a
    # program uses; the version that it was linked with has.
    if(CPACK_DEBIAN_PACKAGE_ARCHITECTURE STREQUAL armhf AND NOT component STREQUAL development)
        set(shlibs "")
        foreach(library "libc 6 libc6" "ld-linux-armhf 3 libc6" "libm 6 libc6" "libstdc++ 6 libstdc++6"
            "libgcc_s 1 libgcc-s1")
            string(REGEX REPLACE ".* " "" package ${library})
            run(dpkg-query -W -f \${Version} ${package}-armhf-cross)
            string(REGEX REPLACE "-[^-]*$" "" version ${out})
            string(APPEND shlibs "${library} (>= ${version})\n")
        endforeach()
        file(WRITE ${root}/debian/shlibs.local "${shlibs}")
    endif()

    run(chmod -R u=rwX,go=rX ${root})
    run(find ${root} -exec touch --no-dereference --date=@${epoch} {} +)
endforeach()
