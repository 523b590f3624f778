// The system's restricted UTF-8 form of UTF-16 text. Each 16-bit unit is
// encoded by itself: below 0x80 in one byte, below 0x800 in two, every other
// unit (surrogates included) in three. Surrogate pairs are never combined, so
// a character beyond U+FFFF takes six bytes, and the decoder accepts only
// 1- to 3-byte sequences. Together the two sides round-trip every sequence
// of 16-bit units, unpaired surrogates included.
#pragma once

#include <cstdint>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo {

// The largest UTF-8 length a wide string record may carry.
inline constexpr std::uint32_t kUtf8RecordLimit = 0xFFFFFFFBu;

// Bytes in the UTF-8 form of `count` units. Counting stops before a unit
// would take the total past `limit`.
std::uint32_t utf8Length(const WChar* units, std::uint32_t count,
                         std::uint32_t limit = 0xFFFFFFFFu) noexcept;

// Writes the UTF-8 form into [dest, destEnd) and returns the end of what it
// wrote. A null or reversed destination throws InvalidArgument; a destination
// too small for the whole source throws BufferOverflow.
std::uint8_t* wideToUtf8(const WChar* units, std::uint32_t count, std::uint8_t* dest,
                         const std::uint8_t* destEnd);

// Decodes `count` bytes. Anything but the accepted sequences throws
// InvalidSequence.
WideString utf8ToWide(const std::uint8_t* bytes, std::uint32_t count);

// Whole-string forms of the two.
NarrowString toUtf8(const WideString& text);
WideString fromUtf8(const NarrowString& text);

}  // namespace vesk::orlo
