// Unsigned 32-bit integers to and from text in any radix from 2 to 36.
#pragma once

#include <cstdint>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo {

// Digits of `value` in `radix`, upper case, no sign and no prefix; 0 gives
// "0". A radix of 0 or outside 2..36 throws UnableToConvert.
WideString IntegerToString(std::uint32_t value, std::uint32_t radix);

// Reads an integer from the first `length` units of `text`. Leading white
// space is skipped unless `strict`; a sign sets `negative` (the result is
// always the magnitude, the caller applies the sign); with radix 16 a "0x"
// prefix is skipped. Overflow of 32 bits and a bad radix throw
// UnableToConvert; in strict mode so do an empty number and trailing text,
// which otherwise end the number.
std::uint32_t StringToInteger(const WChar* text, std::uint32_t length, std::uint32_t radix,
                              bool& negative, bool strict);

}  // namespace vesk::orlo
