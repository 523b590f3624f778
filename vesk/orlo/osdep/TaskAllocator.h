// The task allocator: every block that crosses the library's boundary (objects,
// strings, payloads, arrays handed to callers) comes from here and goes back
// here, so a caller in another module can free what the library gave it.
//
// The functions are inline so that code compiled into a client (the string
// template, for example) uses the same allocator as the library.
#pragma once

#include <cstddef>

#if defined(_WIN32)
// The three calls of ole32, declared as the system declares them, so that a
// client including this header does not get all of <windows.h> and its
// macros.
extern "C" {
__declspec(dllimport) void* __stdcall CoTaskMemAlloc(std::size_t size);
__declspec(dllimport) void* __stdcall CoTaskMemRealloc(void* block, std::size_t size);
__declspec(dllimport) void __stdcall CoTaskMemFree(void* block);
}
#else
#include <cstdlib>
#endif

namespace vesk::orlo::osdep {

// Returns null when the block cannot be had.
inline void* taskAlloc(std::size_t size) noexcept {
#if defined(_WIN32)
  return ::CoTaskMemAlloc(size);
#else
  return std::malloc(size == 0 ? 1 : size);
#endif
}

// Returns null (and leaves the old block alone) when the block cannot grow.
inline void* taskRealloc(void* block, std::size_t size) noexcept {
#if defined(_WIN32)
  return ::CoTaskMemRealloc(block, size);
#else
  return std::realloc(block, size == 0 ? 1 : size);
#endif
}

// Null is allowed and ignored.
inline void taskFree(void* block) noexcept {
#if defined(_WIN32)
  ::CoTaskMemFree(block);
#else
  std::free(block);
#endif
}

}  // namespace vesk::orlo::osdep
