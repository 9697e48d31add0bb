# What every target of the project shares: the warnings, as errors, when ZOR_STRICT asks for them.
function(zor_configure_target target)
    if(ZOR_STRICT)
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
            -Wnon-virtual-dtor -Wold-style-cast -Werror)
    endif()
endfunction()
