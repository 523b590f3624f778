// The system clock in the registry's 128-bit time format.
#include "bucket/BucketClock.h"

#include <atomic>
#include <chrono>

namespace vesk::tarnhive::clock {

namespace {

std::atomic<ClockFunction> replacement{nullptr};

}  // namespace

AbsoluteTime systemNow() noexcept {
  using namespace std::chrono;
  const auto sinceUnix = duration_cast<nanoseconds>(system_clock::now().time_since_epoch());
  std::int64_t seconds = sinceUnix.count() / 1'000'000'000;
  std::int64_t nanos = sinceUnix.count() % 1'000'000'000;
  if (nanos < 0) {  // before 1970: the fraction is always counted upwards
    nanos += 1'000'000'000;
    --seconds;
  }
  AbsoluteTime time;
  time.seconds = seconds + kUnixEpochSeconds;
  // nanos / 10^9 in units of 2^-64 s.
  time.fraction =
      static_cast<std::uint64_t>((static_cast<unsigned __int128>(nanos) << 64) / 1'000'000'000u);
  return time;
}

AbsoluteTime now() noexcept {
  const ClockFunction clock = replacement.load(std::memory_order_acquire);
  return clock != nullptr ? clock() : systemNow();
}

void useForTesting(ClockFunction clock) noexcept {
  replacement.store(clock, std::memory_order_release);
}

}  // namespace vesk::tarnhive::clock
