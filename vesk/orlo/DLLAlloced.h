// Base for classes whose objects live in task-allocator memory, so that the
// final release frees them correctly whichever module calls it.
#pragma once

#include <cstddef>
#include <new>

#include "vesk/orlo/BadAllocation.h"
#include "vesk/orlo/osdep/TaskAllocator.h"

namespace vesk::orlo {

class DLLAlloced {
 public:
  static void* operator new(std::size_t size) {
    void* block = osdep::taskAlloc(size);
    if (block == nullptr) throw BadAllocation();
    return block;
  }
  // Yields null when the block cannot be had; the caller reports it.
  static void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return osdep::taskAlloc(size);
  }
  static void operator delete(void* block) noexcept { osdep::taskFree(block); }
  static void operator delete(void* block, const std::nothrow_t&) noexcept {
    osdep::taskFree(block);
  }
};

}  // namespace vesk::orlo
