# What every target of the project shares: the warnings, as errors, when ZOR_STRICT asks for them;
# in a release, with ZOR_SPLIT_DEBUG, debug information that names no folder of this machine.
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
endfunction()

# zor_split_debug(<program>): gives the program a build id and, in a release with ZOR_SPLIT_DEBUG,
# moves its symbols into <program>.debug beside it. The program is then ready for the device, and
# scripts/zor-report and gdb find the symbols.
function(zor_split_debug program)
    target_link_options(${program} PRIVATE -Wl,--build-id=sha1)
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
