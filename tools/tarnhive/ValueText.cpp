// Value texts for people and for the command line.
#include "ValueText.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "Encoding.h"
#include "ToolError.h"
#include "ValueJson.h"

namespace vesk::tarnhive::tool {
namespace {

constexpr std::uint64_t kQuietNaN64 = 0x7FF8000000000000ull;
constexpr std::uint32_t kQuietNaN32 = 0x7FC00000u;

[[noreturn]] void badNumber(const TypeInfo& type, std::string_view text, const char* why) {
  fail(kExitUsage, "\"" + std::string(text) + "\" " + why + " " + type.name);
}

std::string floatText(const TypeInfo& type, std::uint64_t bits) {
  const double number = type.width == 4
                            ? static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)))
                            : std::bit_cast<double>(bits);
  if (std::isnan(number)) {
    const std::uint64_t quiet = type.width == 4 ? kQuietNaN32 : kQuietNaN64;
    if (bits == quiet) return "NaN";
    char hex[32];
    std::snprintf(hex, sizeof hex, "NaN:0x%0*llx", static_cast<int>(type.width * 2),
                  static_cast<unsigned long long>(bits));
    return hex;
  }
  if (std::isinf(number)) return number > 0 ? "Infinity" : "-Infinity";
  char text[64];
  const auto result = type.width == 4
                          ? std::to_chars(text, text + sizeof text, static_cast<float>(number))
                          : std::to_chars(text, text + sizeof text, number);
  return std::string(text, result.ptr);
}

std::uint64_t parseFloat(const TypeInfo& type, std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  const bool single = type.width == 4;
  if (lower == "nan") return single ? kQuietNaN32 : kQuietNaN64;
  if (lower.starts_with("nan:0x")) {
    std::uint64_t bits = 0;
    const auto [end, error] = std::from_chars(lower.data() + 6, lower.data() + lower.size(), bits, 16);
    const bool fits = !single || bits <= 0xFFFFFFFFu;
    const double number = single ? std::bit_cast<float>(static_cast<std::uint32_t>(bits))
                                 : std::bit_cast<double>(bits);
    if (error != std::errc() || end != lower.data() + lower.size() || !fits || !std::isnan(number)) {
      badNumber(type, text, "is not a NaN bit pattern of");
    }
    return bits;
  }
  const bool negative = !lower.empty() && lower[0] == '-';
  const std::string_view unsigned_ = std::string_view(lower).substr(negative || (!lower.empty() && lower[0] == '+') ? 1 : 0);
  if (unsigned_ == "inf" || unsigned_ == "infinity") {
    const double infinity = negative ? -INFINITY : INFINITY;
    return single ? std::bit_cast<std::uint32_t>(static_cast<float>(infinity))
                  : std::bit_cast<std::uint64_t>(infinity);
  }
  const char* first = lower.data() + (lower.starts_with('+') ? 1 : 0);
  const char* last = lower.data() + lower.size();
  if (single) {
    float number = 0;
    const auto [end, error] = std::from_chars(first, last, number);
    if (end != last || first == last) badNumber(type, text, "is not a number of type");
    if (error == std::errc::result_out_of_range) badNumber(type, text, "is out of range for");
    return std::bit_cast<std::uint32_t>(number);
  }
  double number = 0;
  const auto [end, error] = std::from_chars(first, last, number);
  if (end != last || first == last) badNumber(type, text, "is not a number of type");
  if (error == std::errc::result_out_of_range) badNumber(type, text, "is out of range for");
  return std::bit_cast<std::uint64_t>(number);
}

std::uint64_t parseInteger(const TypeInfo& type, std::string_view text) {
  const unsigned bitsWide = 8 * type.width;
  const char* first = text.data() + (text.starts_with('+') ? 1 : 0);
  const char* last = text.data() + text.size();
  const std::string range =
      type.element == ElementKind::kSigned
          ? std::to_string(signedOf(std::uint64_t{1} << (bitsWide - 1), type.width)) + " to " +
                std::to_string((std::uint64_t{1} << (bitsWide - 1)) - 1)
          : "0 to " + std::to_string(bitsWide == 64 ? ~std::uint64_t{0}
                                                    : (std::uint64_t{1} << bitsWide) - 1);
  if (type.element == ElementKind::kSigned) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(first, last, number);
    if (end != last || first == last) badNumber(type, text, "is not a number of type");
    const std::int64_t low = signedOf(std::uint64_t{1} << (bitsWide - 1), type.width);
    const std::int64_t high = -(low + 1);
    if (error != std::errc() || number < low || number > high) {
      fail(kExitUsage, "\"" + std::string(text) + "\" is out of range for " + type.name + " (" +
                           range + ")");
    }
    return static_cast<std::uint64_t>(number) &
           (bitsWide == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << bitsWide) - 1);
  }
  std::uint64_t number = 0;
  if (first != last && *first == '-') {
    std::int64_t negative = 0;
    const auto [end, error] = std::from_chars(first, last, negative);
    if (end != last || error != std::errc()) badNumber(type, text, "is not a number of type");
    if (negative != 0) fail(kExitUsage, "\"" + std::string(text) + "\" is out of range for " + type.name + " (" + range + ")");
    return 0;
  }
  const auto [end, error] = std::from_chars(first, last, number);
  if (end != last || first == last) badNumber(type, text, "is not a number of type");
  if (error != std::errc() || (bitsWide < 64 && number >> bitsWide != 0)) {
    fail(kExitUsage,
         "\"" + std::string(text) + "\" is out of range for " + type.name + " (" + range + ")");
  }
  return number;
}

std::string quoted(const std::string& text) { return Json(text).dump(); }

}  // namespace

std::string numberText(const TypeInfo& type, std::uint64_t bits) {
  switch (type.element) {
    case ElementKind::kBool:
      return bits != 0 ? "true" : "false";
    case ElementKind::kSigned:
      return std::to_string(signedOf(bits, type.width));
    case ElementKind::kUnsigned:
      return std::to_string(bits);
    default:
      return floatText(type, bits);
  }
}

std::uint64_t parseNumber(const TypeInfo& type, std::string_view text) {
  switch (type.element) {
    case ElementKind::kBool:
      if (text == "true" || text == "1") return 1;
      if (text == "false" || text == "0") return 0;
      badNumber(type, text, "is not a value of type");
    case ElementKind::kSigned:
    case ElementKind::kUnsigned:
      return parseInteger(type, text);
    default:
      return parseFloat(type, text);
  }
}

std::string elementText(const Value& value, std::size_t index) {
  const TypeInfo& type = *typeInfo(value.type);
  switch (type.element) {
    case ElementKind::kNone:
      return "";
    case ElementKind::kDigest:
    case ElementKind::kBlob:
      return toHex(value.bytes);
    case ElementKind::kNarrow:
      return value.narrow[index];
    case ElementKind::kWide:
      return toUtf8(value.wide[index]);
    default:
      return numberText(type, value.bits[index]);
  }
}

std::string displayText(const Value& value) {
  const TypeInfo& type = *typeInfo(value.type);
  const auto one = [&](std::size_t i) {
    if (type.element == ElementKind::kNarrow || type.element == ElementKind::kWide) {
      return quoted(elementText(value, i));
    }
    return elementText(value, i);
  };
  if (!type.array) return one(0);
  std::string text = "[";
  for (std::size_t i = 0; i < elementCount(value); ++i) {
    if (i > 0) text += ", ";
    text += one(i);
  }
  return text + "]";
}

Value parseArguments(const TypeInfo& type, const std::vector<std::string>& words) {
  Value value;
  value.type = type.code;
  if (type.array && words.size() == 1 && words[0].starts_with('[')) {
    Json parsed = Json::parse(words[0], nullptr, false);
    if (parsed.is_discarded() || !parsed.is_array()) {
      fail(kExitUsage, "the value is not a well-formed JSON array: " + words[0]);
    }
    for (const Json& element : parsed) appendElement(type, element, value, "the value");
    return value;
  }
  if (type.element == ElementKind::kBlob && words.size() == 1) {
    const std::string& word = words[0];
    const auto bytes = word.starts_with("base64:") ? fromBase64(std::string_view(word).substr(7))
                       : word.starts_with("hex:")  ? fromHex(std::string_view(word).substr(4))
                                                   : fromHex(word);
    if (!bytes) fail(kExitUsage, "\"" + word + "\" is neither hexadecimal nor base64:...");
    value.bytes = *bytes;
    return value;
  }
  if (!type.array && words.size() != 1) {
    fail(kExitUsage, std::string("a value of type ") + type.name + " takes exactly one word, not " +
                         std::to_string(words.size()));
  }
  for (const std::string& word : words) appendElement(type, Json(word), value, "the value");
  return value;
}

}  // namespace vesk::tarnhive::tool
