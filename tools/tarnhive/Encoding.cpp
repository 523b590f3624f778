// Conversions between the encodings the tool reads and writes. Wide strings
// in the registry may hold any sequence of 16-bit units, so the strict
// conversions here say when a string cannot travel as plain text.
#include "Encoding.h"

namespace vesk::tarnhive::tool {
namespace {

bool isHigh(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool isLow(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void appendCodePoint(std::string& out, std::uint32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

// Decodes one sequence at `i`; `allowSurrogates` accepts encoded surrogate
// units (the registry's form) and refuses four-byte sequences.
std::optional<std::uint32_t> decodeOne(std::string_view in, std::size_t& i,
                                       bool allowSurrogates) {
  const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(in[k]); };
  const unsigned char lead = byte(i);
  std::size_t extra = 0;
  std::uint32_t cp = 0;
  std::uint32_t least = 0;
  if (lead < 0x80) {
    ++i;
    return lead;
  } else if ((lead & 0xE0) == 0xC0) {
    extra = 1, cp = lead & 0x1F, least = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    extra = 2, cp = lead & 0x0F, least = 0x800;
  } else if ((lead & 0xF8) == 0xF0 && !allowSurrogates) {
    extra = 3, cp = lead & 0x07, least = 0x10000;
  } else {
    return std::nullopt;
  }
  if (i + extra >= in.size()) return std::nullopt;
  for (std::size_t k = 1; k <= extra; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) return std::nullopt;
    cp = (cp << 6) | (byte(i + k) & 0x3F);
  }
  if (cp < least || cp > 0x10FFFF) return std::nullopt;
  if (!allowSurrogates && cp >= 0xD800 && cp <= 0xDFFF) return std::nullopt;
  i += extra + 1;
  return cp;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

bool isValidUtf16(std::u16string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isHigh(text[i]) && i + 1 < text.size() && isLow(text[i + 1])) {
      ++i;
    } else if (isHigh(text[i]) || isLow(text[i])) {
      return false;
    }
  }
  return true;
}

bool isValidUtf8(std::string_view bytes) { return fromUtf8(bytes).has_value(); }

std::string toUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::uint32_t cp = text[i];
    if (isHigh(text[i]) && i + 1 < text.size() && isLow(text[i + 1])) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (isHigh(text[i]) || isLow(text[i])) {
      cp = 0xFFFD;
    }
    appendCodePoint(out, cp);
  }
  return out;
}

std::optional<std::u16string> fromUtf8(std::string_view bytes) {
  std::u16string out;
  for (std::size_t i = 0; i < bytes.size();) {
    const auto cp = decodeOne(bytes, i, false);
    if (!cp) return std::nullopt;
    if (*cp >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((*cp - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + ((*cp - 0x10000) & 0x3FF));
    } else {
      out += static_cast<char16_t>(*cp);
    }
  }
  return out;
}

std::optional<std::u16string> fromUnitUtf8(std::string_view bytes) {
  std::u16string out;
  for (std::size_t i = 0; i < bytes.size();) {
    const auto unit = decodeOne(bytes, i, true);
    if (!unit) return std::nullopt;
    out += static_cast<char16_t>(*unit);
  }
  return out;
}

std::string toHex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (unsigned char b : bytes) {
    out += kDigits[b >> 4];
    out += kDigits[b & 0xF];
  }
  return out;
}

std::optional<std::string> fromHex(std::string_view digits) {
  if (digits.size() % 2 != 0) return std::nullopt;
  std::string out;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const int high = hexDigit(digits[i]);
    const int low = hexDigit(digits[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    out += static_cast<char>(high * 16 + low);
  }
  return out;
}

std::string toBase64(std::string_view bytes) {
  std::string out;
  std::size_t i = 0;
  const auto at = [&](std::size_t k) { return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[k])); };
  for (; i + 2 < bytes.size(); i += 3) {
    const std::uint32_t n = (at(i) << 16) | (at(i + 1) << 8) | at(i + 2);
    for (int shift = 18; shift >= 0; shift -= 6) out += kBase64[(n >> shift) & 0x3F];
  }
  const std::size_t rest = bytes.size() - i;
  if (rest > 0) {
    const std::uint32_t n = (at(i) << 16) | (rest == 2 ? at(i + 1) << 8 : 0);
    out += kBase64[(n >> 18) & 0x3F];
    out += kBase64[(n >> 12) & 0x3F];
    out += rest == 2 ? kBase64[(n >> 6) & 0x3F] : '=';
    out += '=';
  }
  return out;
}

std::optional<std::string> fromBase64(std::string_view text) {
  while (!text.empty() && text.back() == '=') text.remove_suffix(1);
  if (text.size() % 4 == 1) return std::nullopt;
  std::string out;
  std::uint32_t buffer = 0;
  int bits = 0;
  for (char c : text) {
    const char* found = c == 0 ? nullptr : std::char_traits<char>::find(kBase64, 64, c);
    if (found == nullptr) return std::nullopt;
    buffer = (buffer << 6) | static_cast<std::uint32_t>(found - kBase64);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out += static_cast<char>((buffer >> bits) & 0xFF);
    }
  }
  return out;
}

std::string unitsToHex(std::u16string_view text) {
  std::string bytes;
  for (char16_t unit : text) {
    bytes += static_cast<char>(unit >> 8);
    bytes += static_cast<char>(unit & 0xFF);
  }
  return toHex(bytes);
}

std::optional<std::u16string> unitsFromHex(std::string_view digits) {
  const auto bytes = fromHex(digits);
  if (!bytes || bytes->size() % 2 != 0) return std::nullopt;
  std::u16string out;
  for (std::size_t i = 0; i < bytes->size(); i += 2) {
    out += static_cast<char16_t>((static_cast<unsigned char>((*bytes)[i]) << 8) |
                                 static_cast<unsigned char>((*bytes)[i + 1]));
  }
  return out;
}

}  // namespace vesk::tarnhive::tool
