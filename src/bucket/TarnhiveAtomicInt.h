// The registry's own small counter: an atomic integer behind a polymorphic
// class, allocated from the runtime heap. Buckets and collections take their
// enumeration handles from one.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <new>

#include "vesk/orlo/BadAllocation.h"
#include "vesk/orlo/osdep/AtomicInt.h"

namespace vesk::tarnhive {

class TarnhiveAtomicInt {
 public:
  explicit TarnhiveAtomicInt(std::int32_t value) : value_(value) {}
  virtual ~TarnhiveAtomicInt() = default;
  TarnhiveAtomicInt(const TarnhiveAtomicInt&) = delete;
  TarnhiveAtomicInt& operator=(const TarnhiveAtomicInt&) = delete;

  virtual bool isThreadSafe() const noexcept { return true; }

  std::int32_t get() const noexcept { return value_.get(); }
  std::int32_t increment() noexcept { return value_.increment(); }
  std::int32_t decrement() noexcept { return value_.decrement(); }

  static void* operator new(std::size_t size) {
    void* block = std::malloc(size);
    if (block == nullptr) throw orlo::BadAllocation();
    return block;
  }
  static void operator delete(void* block) noexcept { std::free(block); }

 private:
  orlo::osdep::AtomicInt value_;
};

}  // namespace vesk::tarnhive
