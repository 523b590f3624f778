// Text encodings the tool moves values through: UTF-8 and UTF-16 (strictly
// valid, for JSON and the terminal), the registry's own unit-by-unit UTF-8
// form of wide names, hexadecimal and base64.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vesk::tarnhive::tool {

// True when every surrogate in `text` is part of a pair.
bool isValidUtf16(std::u16string_view text);
// True when `bytes` is well-formed UTF-8 (no surrogates, no overlong forms).
bool isValidUtf8(std::string_view bytes);

// UTF-16 to UTF-8; an unpaired surrogate becomes U+FFFD. Lossless for text
// that isValidUtf16 accepts.
std::string toUtf8(std::u16string_view text);
// Well-formed UTF-8 to UTF-16; nothing for malformed input.
std::optional<std::u16string> fromUtf8(std::string_view bytes);

// The registry's form of a wide string: each 16-bit unit encoded by itself
// in one to three bytes, surrogates included. Nothing for a malformed
// sequence.
std::optional<std::u16string> fromUnitUtf8(std::string_view bytes);

// Lowercase hexadecimal, two digits a byte.
std::string toHex(std::string_view bytes);
// Hexadecimal digits (either case, even count) to bytes; nothing otherwise.
std::optional<std::string> fromHex(std::string_view digits);

// Standard base64 with padding.
std::string toBase64(std::string_view bytes);
// Standard base64 (padding optional); nothing for any other character.
std::optional<std::string> fromBase64(std::string_view text);

// A wide string's units as hexadecimal, four digits each ("d800" for an
// unpaired high surrogate), and back.
std::string unitsToHex(std::u16string_view text);
std::optional<std::u16string> unitsFromHex(std::string_view digits);

}  // namespace vesk::tarnhive::tool
