// The byte records of strings inside serialized values and buckets.
//
// Narrow record: u32 m = byte length + 1, the string's bytes, one 0 byte (the
// empty string is 01 00 00 00 00). Wide record: u32 n = the byte count of the
// restricted UTF-8 form (Utf8.h), then those bytes with no terminator (the
// empty string is four zero bytes).
#pragma once

#include <cstdint>

#include "vesk/orlo/StringBase.h"

namespace vesk::orlo {

// Record sizes, saturating at 2^32 - 1.
std::uint32_t narrowRecordSize(const NarrowString& text) noexcept;
std::uint32_t wideRecordSize(const WideString& text) noexcept;

// Writers throw BufferOverflow when the record does not fit.
void writeNarrowRecord(const NarrowString& text, std::uint8_t*& cursor, const std::uint8_t* end);
void writeWideRecord(const WideString& text, std::uint8_t*& cursor, const std::uint8_t* end);

// Readers throw DeserializationError for a short or malformed record (and the
// wide reader InvalidSequence for bad UTF-8); the target keeps its content
// and the cursor stays put on failure.
void readNarrowRecord(NarrowString& text, const std::uint8_t*& cursor, const std::uint8_t* end);
void readWideRecord(WideString& text, const std::uint8_t*& cursor, const std::uint8_t* end);

}  // namespace vesk::orlo
