# Warnings are errors on the project's own code only; third-party headers are
# included as system headers and do not trip them.
function(tarnhive_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror)
  # GCC 12 reports overlapping copies inside std::string's operator+ that
  # cannot happen (its bug 105651); the warning comes from the standard
  # library's code, not ours.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
endfunction()
