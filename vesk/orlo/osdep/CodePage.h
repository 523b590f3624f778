// Narrow <-> wide conversion through a code page. The encoding names the
// system knows are "" (the system code page), "US-ASCII" and "cp932"; bytes
// that do not decode become U+FFFD.
#pragma once

#include <cstdint>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo::osdep {

inline constexpr std::uint32_t kSystemCodePage = 0;
inline constexpr std::uint32_t kAsciiCodePage = 20127;
inline constexpr std::uint32_t kShiftJisCodePage = 932;

// The code page of an encoding name; any other name throws InvalidLocale.
std::uint32_t codePageOf(const char* encodingName);

// Converts `count` units; an empty input gives an empty output. Failures of
// the platform throw OSException; sizes that do not fit throw OutOfRange.
WideString ansiToWide(std::uint32_t codePage, const char* text, std::uint32_t count);
NarrowString wideToAnsi(std::uint32_t codePage, const WChar* text, std::uint32_t count);

}  // namespace vesk::orlo::osdep
