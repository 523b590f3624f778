# Warnings are errors on the project's own code only; third-party headers are
# included as system headers and do not trip them.
function(tarnhive_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
endfunction()
