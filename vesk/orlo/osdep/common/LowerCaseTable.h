// The platform's half of CaseMapping: the lower case of every UTF-16 unit.
#pragma once

#include <cstdint>

#include "vesk/orlo/osdep/WChar.h"

namespace vesk::orlo::osdep::common {

inline constexpr std::uint32_t kUnitCount = 0x10000;

// Fills table[u] with the lower case of unit u, for all kUnitCount units;
// surrogate units, and units whose lower case lies outside the basic plane,
// map to themselves.
void fillLowerCaseTable(WChar* table) noexcept;

}  // namespace vesk::orlo::osdep::common
