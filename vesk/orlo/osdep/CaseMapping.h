// The platform's lower-case mapping of one UTF-16 unit: simple, locale
// independent, surrogate units unchanged. Names that are equal under it have
// equal digests and compare equal ignoring case.
#pragma once

#include <cstdint>

#include "vesk/orlo/osdep/WChar.h"

namespace vesk::orlo::osdep {

WChar lowerUnit(WChar unit) noexcept;

// Lowers `count` units in place.
void lowerUnits(WChar* units, std::uint32_t count) noexcept;

}  // namespace vesk::orlo::osdep
