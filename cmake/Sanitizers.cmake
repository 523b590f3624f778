# Sanitizer builds apply to every target of the tree, so that the library, the
# tests and the examples are instrumented alike.
if(TARNHIVE_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined -fno-sanitize-recover=all)
endif()
if(TARNHIVE_TSAN)
  # GCC warns that the thread sanitizer does not model atomic_thread_fence.
  # The one fence (AtomicInt's constructor) orders the first store of a
  # counter that other threads only reach through a lock or a thread start,
  # which the sanitizer does see, so the warning cannot hide a race.
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer -Wno-tsan)
  add_link_options(-fsanitize=thread)
endif()
if(TARNHIVE_FUZZ)
  # The fuzz build (fuzz/): clang's coverage instrumentation for libFuzzer on
  # every target, with the address and undefined-behaviour sanitizers. Only
  # the fuzz targets themselves link libFuzzer (-fsanitize=fuzzer), which
  # brings their main. Such a tree builds the fuzz targets only (scripts/fuzz
  # names them): clang links the sanitizer runtimes into executables, not
  # into shared libraries, so the library's .so, linked with --no-undefined,
  # does not link there.
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "TARNHIVE_FUZZ needs clang (libFuzzer): configure with CMAKE_CXX_COMPILER=clang++")
  endif()
  if(TARNHIVE_SANITIZE OR TARNHIVE_TSAN)
    message(FATAL_ERROR "TARNHIVE_FUZZ brings its own sanitizers: leave TARNHIVE_SANITIZE and TARNHIVE_TSAN off")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined -fno-sanitize-recover=all)
endif()
