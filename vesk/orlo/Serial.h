// Checked little-endian primitives for the system's byte records. Integers
// are little-endian and unaligned, assembled byte by byte so the host's byte
// order never matters.
//
// A writer throws BufferOverflow and a reader DeserializationError when the
// cursor is past the end or fewer bytes remain than it needs; in both cases
// the cursor is left where it was.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "vesk/orlo/Exception.h"

namespace vesk::orlo::serial {

inline constexpr char kSerialSource[] = "vesk/orlo/Serial";

// Bytes left between cursor and end, or throws when the cursor is past end.
inline std::size_t roomForWrite(const std::uint8_t* cursor, const std::uint8_t* end,
                                std::size_t needed) {
  if (cursor == nullptr || cursor > end || static_cast<std::size_t>(end - cursor) < needed) {
    exception::raise(exception::BufferOverflow(), kSerialSource, 0);
  }
  return static_cast<std::size_t>(end - cursor);
}

inline void requireForRead(const std::uint8_t* cursor, const std::uint8_t* end,
                           std::size_t needed) {
  if (cursor == nullptr || cursor > end || static_cast<std::size_t>(end - cursor) < needed) {
    exception::raise(exception::DeserializationError(), kSerialSource, 0);
  }
}

template <class T>
void putFixed(std::uint8_t*& cursor, const std::uint8_t* end, T value) {
  roomForWrite(cursor, end, sizeof(T));
  using U = std::make_unsigned_t<T>;
  const auto bits = static_cast<U>(value);
  for (std::size_t i = 0; i < sizeof(T); ++i) cursor[i] = static_cast<std::uint8_t>(bits >> (8 * i));
  cursor += sizeof(T);
}

template <class T>
T getFixed(const std::uint8_t*& cursor, const std::uint8_t* end) {
  requireForRead(cursor, end, sizeof(T));
  using U = std::make_unsigned_t<T>;
  U bits = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) bits |= static_cast<U>(U{cursor[i]} << (8 * i));
  cursor += sizeof(T);
  return static_cast<T>(bits);
}

inline void putU32(std::uint8_t*& cursor, const std::uint8_t* end, std::uint32_t value) {
  putFixed<std::uint32_t>(cursor, end, value);
}
inline std::uint32_t getU32(const std::uint8_t*& cursor, const std::uint8_t* end) {
  return getFixed<std::uint32_t>(cursor, end);
}

inline void putBytes(std::uint8_t*& cursor, const std::uint8_t* end, const void* bytes,
                     std::size_t count) {
  roomForWrite(cursor, end, count);
  if (count) std::memcpy(cursor, bytes, count);
  cursor += count;
}
inline void getBytes(const std::uint8_t*& cursor, const std::uint8_t* end, void* bytes,
                     std::size_t count) {
  requireForRead(cursor, end, count);
  if (count) std::memcpy(bytes, cursor, count);
  cursor += count;
}

// Adds with saturation at 2^32 - 1, as record sizes do.
inline std::uint32_t saturatingAdd(std::uint32_t a, std::uint32_t b) noexcept {
  return a > 0xFFFFFFFFu - b ? 0xFFFFFFFFu : a + b;
}

}  // namespace vesk::orlo::serial
