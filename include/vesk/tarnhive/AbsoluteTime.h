// A 128-bit fixed-point point in time: whole seconds since 1904-01-01 00:00
// UTC (signed, the high half) and a binary fraction of a second in units of
// 2^-64 seconds (the low half). Buckets stamp every change with one.
#pragma once

#include <cstdint>

namespace vesk::tarnhive {

struct AbsoluteTime {
  std::uint64_t fraction = 0;
  std::int64_t seconds = 0;
};

// a - b as a 128-bit difference.
inline AbsoluteTime operator-(const AbsoluteTime& a, const AbsoluteTime& b) noexcept {
  AbsoluteTime d;
  d.fraction = a.fraction - b.fraction;
  const std::int64_t borrow = a.fraction < b.fraction ? 1 : 0;
  d.seconds = static_cast<std::int64_t>(static_cast<std::uint64_t>(a.seconds) -
                                        static_cast<std::uint64_t>(b.seconds) -
                                        static_cast<std::uint64_t>(borrow));
  return d;
}

inline bool operator==(const AbsoluteTime& a, const AbsoluteTime& b) noexcept {
  return a.seconds == b.seconds && a.fraction == b.fraction;
}

}  // namespace vesk::tarnhive
