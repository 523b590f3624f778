// A 32-bit integer changed only by sequentially consistent interlocked
// operations. Reference counts are built on it.
#pragma once

#include <atomic>
#include <cstdint>

namespace vesk::orlo::osdep {

class AtomicInt {
 public:
  explicit AtomicInt(std::int32_t value = 0) noexcept {
    value_.store(value, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_seq_cst);
  }
  AtomicInt(const AtomicInt&) = delete;
  AtomicInt& operator=(const AtomicInt&) = delete;

  std::int32_t get() const noexcept { return value_.load(std::memory_order_relaxed); }
  // Both return the new value.
  std::int32_t increment() noexcept { return value_.fetch_add(1) + 1; }
  std::int32_t decrement() noexcept { return value_.fetch_sub(1) - 1; }
  // Returns the previous value.
  std::int32_t exchange(std::int32_t value) noexcept { return value_.exchange(value); }

 private:
  std::atomic<std::int32_t> value_;
};

}  // namespace vesk::orlo::osdep
