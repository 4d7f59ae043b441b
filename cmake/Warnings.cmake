# Warnings are errors everywhere in the project's own code.
function(qz62_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror
                                             -Wno-error=deprecated-declarations)
endfunction()
