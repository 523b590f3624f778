// The payload blocks of values: every block a value owns or hands to a caller
// comes from allocate() and goes back through release(), both on the task
// allocator. Routing them through one place gives the tests a fault seam:
// failAfter(n) makes the n-th payload step from now fail, where a step is a
// block allocation or the copy of one string into a block. The seam is
// internal and is never reachable by a client.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

#include "vesk/orlo/BadAllocation.h"
#include "vesk/tarnhive/BucketValueType.h"

namespace vesk::tarnhive::payload {

// A block of `size` bytes, or null.
void* allocate(std::size_t size) noexcept;
// Null is ignored.
void release(void* block) noexcept;

// Arms the seam: the `steps`-th payload step from now fails (1 = the next).
// 0 disarms it.
void failAfter(std::uint32_t steps) noexcept;
// Counts one step; true when it is the one that must fail.
bool stepFails() noexcept;

// Owns a block until it is handed on.
struct BlockRelease {
  void operator()(void* block) const noexcept { release(block); }
};
using BlockPtr = std::unique_ptr<void, BlockRelease>;

// A block of `size` bytes; throws BadAllocation when there is none.
inline void* allocateOrThrow(std::size_t size) {
  void* block = allocate(size);
  if (block == nullptr) throw orlo::BadAllocation();
  return block;
}

// A new block holding a copy of `source`. Throws BadAllocation (or what the
// copy throws), leaving nothing behind.
template <class T>
T* newCopy(const T& source) {
  void* block = allocateOrThrow(sizeof(T));
  try {
    if (stepFails()) throw orlo::BadAllocation();
    return ::new (block) T(source);
  } catch (...) {
    release(block);
    throw;
  }
}

// Destroys an object made by newCopy (or constructed in place in a payload
// block) and frees its block. Null is ignored.
template <class T>
void destroy(T* object) noexcept {
  if (object == nullptr) return;
  std::destroy_at(object);
  release(object);
}

// Destroys `count` strings constructed in place in `block` and frees it.
template <class S>
void destroyStrings(S* block, std::uint32_t count) noexcept {
  if (block == nullptr) return;
  std::destroy_n(block, count);
  release(block);
}

// A new block of `count` strings, each a copy of the matching element. On
// failure the strings made so far are destroyed and the block is freed.
template <class S>
S* newStringArray(const S* elements, std::uint32_t count) {
  auto* block = static_cast<S*>(allocateOrThrow(std::size_t{count} * sizeof(S)));
  std::uint32_t made = 0;
  try {
    for (; made < count; ++made) {
      if (stepFails()) throw orlo::BadAllocation();
      ::new (block + made) S(elements[made]);
    }
  } catch (...) {
    destroyStrings(block, made);
    throw;
  }
  return block;
}

// Bytes of one scalar of kinds kBOOL..kFLOAT64, or of one element of kinds
// kBOOLARRAY..kFLOAT64ARRAY; 0 for every other kind.
std::uint32_t elementSize(std::uint32_t type) noexcept;

// The scalar kind whose elements an array kind holds (kINT8 for kINT8ARRAY).
constexpr std::uint32_t elementKind(std::uint32_t arrayType) noexcept {
  return arrayType - (kBOOLARRAY - kBOOL);
}

constexpr bool isScalar(std::uint32_t type) noexcept { return type >= kBOOL && type <= kFLOAT64; }
constexpr bool isNumericArray(std::uint32_t type) noexcept {
  return type >= kBOOLARRAY && type <= kFLOAT64ARRAY;
}

}  // namespace vesk::tarnhive::payload
