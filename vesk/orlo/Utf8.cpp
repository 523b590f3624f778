#include "vesk/orlo/Utf8.h"

namespace vesk::orlo {
namespace {

constexpr char kEncodeSource[] = "vesk/orlo/WideToUtf8";
constexpr char kDecodeSource[] = "vesk/orlo/Utf8ToWide";

std::uint32_t unitSize(WChar unit) noexcept {
  const auto u = static_cast<std::uint16_t>(unit);
  return u < 0x80 ? 1 : (u < 0x800 ? 2 : 3);
}

// Length of the sequence that a lead byte starts; 0 for a byte that cannot
// lead one.
std::uint32_t sequenceSize(std::uint8_t lead) noexcept {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  return 0;
}

bool isContinuation(std::uint8_t byte) noexcept { return byte >= 0x80 && byte <= 0xBF; }

[[noreturn]] void invalidSequence(std::uint32_t line) {
  exception::raise(exception::InvalidSequence(), kDecodeSource, line);
}

// Counting pass: the number of units, checking lead bytes and that no
// sequence is cut off by the end of the input.
std::uint32_t countUnits(const std::uint8_t* bytes, std::uint32_t count) {
  std::uint32_t units = 0;
  for (std::uint32_t i = 0; i < count; ++units) {
    const std::uint32_t size = sequenceSize(bytes[i]);
    if (size == 0) invalidSequence(151);
    if (size > count - i) invalidSequence(172);
    i += size;
  }
  return units;
}

WChar decodeOne(const std::uint8_t*& p) {
  const std::uint8_t lead = *p;
  switch (sequenceSize(lead)) {
    case 1:
      ++p;
      return static_cast<WChar>(lead);
    case 2:
      if (!isContinuation(p[1])) invalidSequence(62);
      p += 2;
      return static_cast<WChar>(((lead & 0x1Fu) << 6) | (p[-1] & 0x3Fu));
    default: {
      const std::uint8_t low = lead == 0xE0 ? 0xA0 : 0x80;
      if (p[1] < low || p[1] > 0xBF || !isContinuation(p[2])) invalidSequence(76);
      p += 3;
      return static_cast<WChar>(((lead & 0x0Fu) << 12) | ((p[-2] & 0x3Fu) << 6) | (p[-1] & 0x3Fu));
    }
  }
}

}  // namespace

std::uint32_t utf8Length(const WChar* units, std::uint32_t count, std::uint32_t limit) noexcept {
  std::uint32_t total = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t size = unitSize(units[i]);
    if (size > limit - total) break;
    total += size;
  }
  return total;
}

std::uint8_t* wideToUtf8(const WChar* units, std::uint32_t count, std::uint8_t* dest,
                         const std::uint8_t* destEnd) {
  if (dest == nullptr || destEnd < dest) {
    exception::raise(exception::InvalidArgument(), kEncodeSource, 235);
  }
  std::uint32_t i = 0;
  for (; i < count; ++i) {
    const auto u = static_cast<std::uint16_t>(units[i]);
    const std::uint32_t size = unitSize(units[i]);
    if (static_cast<std::size_t>(destEnd - dest) < size) break;
    if (size == 1) {
      *dest++ = static_cast<std::uint8_t>(u);
    } else if (size == 2) {
      *dest++ = static_cast<std::uint8_t>(0xC0 | (u >> 6));
      *dest++ = static_cast<std::uint8_t>(0x80 | (u & 0x3F));
    } else {
      *dest++ = static_cast<std::uint8_t>(0xE0 | (u >> 12));
      *dest++ = static_cast<std::uint8_t>(0x80 | ((u >> 6) & 0x3F));
      *dest++ = static_cast<std::uint8_t>(0x80 | (u & 0x3F));
    }
  }
  if (i != count) exception::raise(exception::BufferOverflow(), kEncodeSource, 267);
  return dest;
}

WideString utf8ToWide(const std::uint8_t* bytes, std::uint32_t count) {
  WideString out;
  if (count == 0) return out;
  out.resize(countUnits(bytes, count));
  const std::uint8_t* p = bytes;
  for (WChar* unit = out.data(); p != bytes + count; ++unit) *unit = decodeOne(p);
  return out;
}

NarrowString toUtf8(const WideString& text) {
  NarrowString out;
  out.resize(utf8Length(text.data(), text.length()));
  auto* dest = reinterpret_cast<std::uint8_t*>(out.data());
  wideToUtf8(text.data(), text.length(), dest, dest + out.length());
  return out;
}

WideString fromUtf8(const NarrowString& text) {
  return utf8ToWide(reinterpret_cast<const std::uint8_t*>(text.data()), text.length());
}

}  // namespace vesk::orlo
