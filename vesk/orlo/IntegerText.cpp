#include "vesk/orlo/IntegerText.h"

namespace vesk::orlo {
namespace {

constexpr char kToStringSource[] = "vesk/orlo/osdep/IntegerToString";
constexpr char kToIntegerSource[] = "vesk/orlo/osdep/StringToInteger";
constexpr char kDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

// The classification of the C locale: white space, digits and letters are
// the ASCII ones, whatever locale the host process has set.
bool isSpace(WChar c) noexcept { return c == ' ' || (c >= 0x09 && c <= 0x0D); }
bool isDigit(WChar c) noexcept { return c >= '0' && c <= '9'; }
bool isAlpha(WChar c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
WChar toUpper(WChar c) noexcept { return (c >= 'a' && c <= 'z') ? static_cast<WChar>(c - 32) : c; }

[[noreturn]] void unableToConvert(const char* source, std::uint32_t line) {
  exception::raise(exception::UnableToConvert(), source, line);
}

}  // namespace

WideString IntegerToString(std::uint32_t value, std::uint32_t radix) {
  if (radix == 0) unableToConvert(kToStringSource, 53);
  if (radix < 2 || radix > 36) unableToConvert(kToStringSource, 33);
  WChar scratch[64];
  std::uint32_t n = 0;
  do {
    scratch[n++] = static_cast<WChar>(kDigits[value % radix]);
    value /= radix;
  } while (value != 0);
  WideString out;
  out.resize(n);
  for (std::uint32_t i = 0; i < n; ++i) out[i] = scratch[n - 1 - i];
  return out;
}

std::uint32_t StringToInteger(const WChar* text, std::uint32_t length, std::uint32_t radix,
                              bool& negative, bool strict) {
  if (radix < 2 || radix > 36) unableToConvert(kToIntegerSource, 88);
  negative = false;
  std::uint32_t i = 0;
  if (!strict) {
    while (i < length && isSpace(text[i])) ++i;
  }
  if (i < length && (text[i] == '-' || text[i] == '+')) {
    negative = text[i] == '-';
    ++i;
  }
  if (radix == 16 && length - i >= 3 && text[i] == '0' && (text[i + 1] == 'x' || text[i + 1] == 'X')) {
    i += 2;
  }
  if (i >= length) {
    if (strict) unableToConvert(kToIntegerSource, 127);
    return 0;
  }
  std::uint32_t value = 0;
  for (; i < length; ++i) {
    const WChar c = text[i];
    if (!isDigit(c) && !isAlpha(c)) break;
    const std::uint32_t digit = isDigit(c) ? std::uint32_t(c - '0') : std::uint32_t(toUpper(c)) - 55;
    if (digit >= radix) break;
    const std::uint64_t shifted = std::uint64_t{value} * radix;
    if (shifted > 0xFFFFFFFFu) unableToConvert(kToIntegerSource, 110);
    const std::uint64_t sum = shifted + digit;
    if (sum > 0xFFFFFFFFu) unableToConvert(kToIntegerSource, 113);
    value = static_cast<std::uint32_t>(sum);
  }
  if (i < length && strict) unableToConvert(kToIntegerSource, 120);
  return value;
}

}  // namespace vesk::orlo
