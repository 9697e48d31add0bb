# What every target of the project shares: the warnings, as errors, when ZOR_STRICT asks for them; the
# hardening when ZOR_HARDEN does; in a release, with ZOR_SPLIT_DEBUG, debug information that names
# no folder of this machine.
function(zor_configure_target target)
    if(ZOR_STRICT)
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
            -Wnon-virtual-dtor -Wold-style-cast -Werror)
    endif()
    if(ZOR_SPLIT_DEBUG)
        target_compile_options(${target} PRIVATE $<$<CONFIG:Release,MinSizeRel>:
            -g -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=.
            # Clang takes the first of two maps that fit, not the last.
            $<$<CXX_COMPILER_ID:Clang>:-fdebug-compilation-dir=.>>)
    endif()
    if(ZOR_HARDEN)
        target_compile_options(${target} PRIVATE
            -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
            -fstack-protector-strong -fstack-clash-protection -Wformat -Werror=format-security)
        target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now)
        get_target_property(type ${target} TYPE)
        if(NOT type STREQUAL SHARED_LIBRARY AND NOT CMAKE_POSITION_INDEPENDENT_CODE)
            target_compile_options(${target} PRIVATE -fPIE)
            target_link_options(${target} PRIVATE $<$<STREQUAL:${type},EXECUTABLE>:-pie>)
        endif()
    endif()
endfunction()

# zor_configure_program(<program>): the same for a program that people start. It has a build id;
# with ZOR_STATIC_PROGRAMS, all libraries inside; and in a release with ZOR_SPLIT_DEBUG its symbols
# are moved into <program>.debug beside it. It is then ready for the device, and scripts/zor-report
# and gdb find the symbols.
function(zor_configure_program program)
    zor_configure_target(${program})
    target_link_options(${program} PRIVATE
        -Wl,--build-id=sha1 $<$<BOOL:${ZOR_STATIC_PROGRAMS}>:-static>)
    if(ZOR_SPLIT_DEBUG)
        set(file $<TARGET_FILE:${program}>)
        set(in_release $<CONFIG:Release,MinSizeRel>)
        add_custom_command(TARGET ${program} POST_BUILD COMMAND_EXPAND_LISTS VERBATIM
            BYPRODUCTS ${program}.debug
            COMMAND "$<${in_release}:${CMAKE_OBJCOPY};--only-keep-debug;${file};${file}.debug>"
            COMMAND "$<${in_release}:${CMAKE_STRIP};${file}>"
            COMMAND "$<${in_release}:${CMAKE_OBJCOPY};--add-gnu-debuglink=${file}.debug;${file}>")
    endif()
endfunction()
