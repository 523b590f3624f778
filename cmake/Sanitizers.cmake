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
