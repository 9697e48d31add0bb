# What every target of the project shares: the warnings, as errors, when ZOR_STRICT asks for them; the
# hardening when ZOR_HARDEN does; counters of what runs when ZOR_COVERAGE does; in a release, with
# ZOR_SPLIT_DEBUG, debug information that names no folder of this machine.
function(zor_configure_target target)
    if(ZOR_STRICT)
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
            -Wnon-virtual-dtor -Wold-style-cast $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
            -Werror)
    endif()
    if(ZOR_SPLIT_DEBUG)
        target_compile_options(${target} PRIVATE $<$<CONFIG:Release,MinSizeRel>:
            -g -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=.
            # Clang takes the first of two maps that fit, not the last.
            $<$<CXX_COMPILER_ID:Clang>:-fdebug-compilation-dir=.>>)
    endif()
    if(ZOR_COVERAGE)
        target_compile_options(${target} PRIVATE
            --coverage -fprofile-update=atomic -fno-builtin-execv)
        target_link_options(${target} PRIVATE --coverage)
        get_target_property(type ${target} TYPE)
        if(type STREQUAL EXECUTABLE)
            target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/coverage_exit.cpp)
        endif()
    endif()
    if(ZOR_HARDEN)
        target_compile_options(${target} PRIVATE
            -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
            -fstack-protector-strong -fstack-clash-protection -Wformat -Werror=format-security)
        target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now)
        get_target_property(type ${target} TYPE)
        if(NOT type STREQUAL SHARED_LIBRARY AND NOT CMAKE_POSITION_INDEPENDENT_CODE)
            target_compile_options(${target} PRIVATE -fPIE)
            if(type STREQUAL EXECUTABLE AND NOT ZOR_STATIC_PROGRAMS)
                target_link_options(${target} PRIVATE -pie)
            endif()
        endif()
    endif()
endfunction()

# zor_split_debug(<target> <file name>): gives a program or a shared library a build id; in a release
# with ZOR_SPLIT_DEBUG, its symbols are moved into <file name>.debug beside it. It is then ready for
# the device, and scripts/zor-report and gdb find the symbols.
function(zor_split_debug target name)
    target_link_options(${target} PRIVATE -Wl,--build-id=sha1)
    if(ZOR_SPLIT_DEBUG)
        set(file $<TARGET_FILE:${target}>)
        set(in_release $<CONFIG:Release,MinSizeRel>)
        add_custom_command(TARGET ${target} POST_BUILD COMMAND_EXPAND_LISTS VERBATIM
            BYPRODUCTS ${name}.debug
            COMMAND "$<${in_release}:${CMAKE_OBJCOPY};--only-keep-debug;${file};${file}.debug>"
            COMMAND "$<${in_release}:${CMAKE_STRIP};${file}>"
            COMMAND "$<${in_release}:${CMAKE_OBJCOPY};--add-gnu-debuglink=${file}.debug;${file}>")
    endif()
endfunction()

# zor_configure_program(<program>): for a program that people start; with ZOR_STATIC_PROGRAMS, all
# libraries are inside.
function(zor_configure_program program)
    zor_configure_target(${program})
    zor_split_debug(${program} ${program})
    if(ZOR_STATIC_PROGRAMS)
        target_link_options(${program} PRIVATE -static)
    endif()
endfunction()
