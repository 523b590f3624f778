// The clock that stamps buckets: the system clock as an AbsoluteTime (whole
// seconds since 1904-01-01 00:00 UTC and a binary fraction of a second).
//
// Tests replace the clock to give buckets chosen time stamps; the library
// itself never does. The replacement is process-wide and may be swapped
// while other threads read the clock.
#pragma once

#include "vesk/tarnhive/AbsoluteTime.h"

namespace vesk::tarnhive::clock {

using ClockFunction = AbsoluteTime (*)();

// Seconds from 1904-01-01 00:00 UTC to 1970-01-01 00:00 UTC.
inline constexpr std::int64_t kUnixEpochSeconds = 2082844800;

// The time from the clock in use.
AbsoluteTime now() noexcept;

// The system clock, whatever clock is in use.
AbsoluteTime systemNow() noexcept;

// Makes `clock` the clock in use; null restores the system clock.
void useForTesting(ClockFunction clock) noexcept;

}  // namespace vesk::tarnhive::clock
