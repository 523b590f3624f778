#include "bucket/ValuePayload.h"

#include <atomic>

#include "vesk/orlo/osdep/TaskAllocator.h"

namespace vesk::tarnhive::payload {
namespace {

// Steps left until the armed failure; 0 when disarmed.
std::atomic<std::uint32_t> stepsToFailure{0};

}  // namespace

void* allocate(std::size_t size) noexcept {
  if (stepFails()) return nullptr;
  return orlo::osdep::taskAlloc(size);
}

void release(void* block) noexcept { orlo::osdep::taskFree(block); }

void failAfter(std::uint32_t steps) noexcept { stepsToFailure.store(steps); }

bool stepFails() noexcept {
  std::uint32_t left = stepsToFailure.load(std::memory_order_relaxed);
  while (left != 0) {
    if (stepsToFailure.compare_exchange_weak(left, left - 1)) return left == 1;
  }
  return false;
}

std::uint32_t elementSize(std::uint32_t type) noexcept {
  // bool, int8, uint8, int16, uint16, int32, uint32, int64, uint64, float32,
  // float64: the order of both the scalar and the array kinds.
  static constexpr std::uint32_t kSizes[] = {1, 1, 1, 2, 2, 4, 4, 8, 8, 4, 8};
  if (isScalar(type)) return kSizes[type - kBOOL];
  if (isNumericArray(type)) return kSizes[elementKind(type) - kBOOL];
  return 0;
}

}  // namespace vesk::tarnhive::payload
