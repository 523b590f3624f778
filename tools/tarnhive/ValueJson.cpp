// Values to and from JSON. Every kind reads back to the same bits: the
// float texts name NaN (with its bits when unusual) and the infinities, and
// strings that JSON cannot carry as text travel as hexadecimal.
#include "ValueJson.h"

#include <bit>
#include <cmath>
#include <cstring>

#include "Encoding.h"
#include "ToolError.h"
#include "ValueText.h"

namespace vesk::tarnhive::tool {
namespace {

[[noreturn]] void badJson(const std::string& where, const std::string& why) {
  fail(kExitUsage, where + ": " + why);
}

Json floatJson(const TypeInfo& type, std::uint64_t bits) {
  const double number = type.width == 4
                            ? static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)))
                            : std::bit_cast<double>(bits);
  if (!std::isfinite(number)) return numberText(type, bits);
  if (type.width == 4) {
    // The float's shortest text reads back as a double that narrows to the
    // same float: written so, "0.1" stays "0.1" rather than its double.
    const double shortest = std::strtod(numberText(type, bits).c_str(), nullptr);
    if (std::bit_cast<std::uint32_t>(static_cast<float>(shortest)) == bits) return shortest;
  }
  return number;
}

Json elementJson(const Value& value, const TypeInfo& type, std::size_t i) {
  switch (type.element) {
    case ElementKind::kNarrow: {
      const std::string& bytes = value.narrow[i];
      if (isValidUtf8(bytes)) return bytes;
      return Json{{"hex", toHex(bytes)}};
    }
    case ElementKind::kWide: {
      const std::u16string& units = value.wide[i];
      if (isValidUtf16(units)) return toUtf8(units);
      return Json{{"utf16", unitsToHex(units)}};
    }
    case ElementKind::kBool:
      return value.bits[i] != 0;
    case ElementKind::kSigned:
      if (type.width == 8) return std::to_string(signedOf(value.bits[i], 8));
      return signedOf(value.bits[i], type.width);
    case ElementKind::kUnsigned:
      if (type.width == 8) return std::to_string(value.bits[i]);
      return value.bits[i];
    case ElementKind::kFloat:
      return floatJson(type, value.bits[i]);
    default:
      return nullptr;
  }
}

std::uint64_t numberFromJson(const TypeInfo& type, const Json& element, const std::string& where) {
  if (element.is_string()) return parseNumber(type, element.get<std::string>());
  switch (type.element) {
    case ElementKind::kBool:
      if (!element.is_boolean()) badJson(where, std::string("expected true or false for ") + type.name);
      return element.get<bool>() ? 1 : 0;
    case ElementKind::kSigned:
    case ElementKind::kUnsigned:
      if (!element.is_number_integer()) {
        badJson(where, "expected an integer for " + std::string(type.name) + ", found " + element.dump());
      }
      return parseNumber(type, element.dump());
    default:
      if (!element.is_number()) {
        badJson(where, "expected a number for " + std::string(type.name) + ", found " + element.dump());
      }
      if (type.width == 4) {
        const double number = element.get<double>();
        const float single = static_cast<float>(number);
        if (std::isinf(single) && std::isfinite(number)) {
          badJson(where, element.dump() + " is out of range for float32");
        }
        return std::bit_cast<std::uint32_t>(single);
      }
      return std::bit_cast<std::uint64_t>(element.get<double>());
  }
}

std::string textOrHex(const Json& element, const char* hexKey, const std::string& where) {
  if (element.is_string()) return element.get<std::string>();
  if (element.is_object() && element.size() == 1 && element.contains(hexKey) &&
      element[hexKey].is_string()) {
    return element[hexKey].get<std::string>();
  }
  badJson(where, std::string("expected a string or {\"") + hexKey + "\": ...}, found " + element.dump());
}

}  // namespace

void appendElement(const TypeInfo& type, const Json& element, Value& out, const std::string& where) {
  switch (type.element) {
    case ElementKind::kNarrow: {
      const std::string text = textOrHex(element, "hex", where);
      if (element.is_string()) {
        out.narrow.push_back(text);
      } else if (auto bytes = fromHex(text)) {
        out.narrow.push_back(*bytes);
      } else {
        badJson(where, "\"" + text + "\" is not hexadecimal");
      }
      return;
    }
    case ElementKind::kWide: {
      const std::string text = textOrHex(element, "utf16", where);
      auto units = element.is_string() ? fromUtf8(text) : unitsFromHex(text);
      if (!units) badJson(where, "\"" + text + "\" is not " + (element.is_string() ? "valid UTF-8" : "a sequence of UTF-16 units in hexadecimal"));
      out.wide.push_back(*units);
      return;
    }
    case ElementKind::kBlob:
    case ElementKind::kDigest: {
      if (!element.is_string()) badJson(where, std::string("expected a string for ") + type.name);
      const std::string text = element.get<std::string>();
      const bool digest = type.element == ElementKind::kDigest;
      auto bytes = digest ? fromHex(text) : fromBase64(text);
      if (!bytes || (digest && bytes->size() != 32)) {
        badJson(where, "\"" + text + "\" is not " + (digest ? "64 hexadecimal digits" : "base64"));
      }
      out.bytes = *bytes;
      return;
    }
    case ElementKind::kNone:
      badJson(where, "a value of type notset cannot be stored");
    default:
      out.bits.push_back(numberFromJson(type, element, where));
  }
}

Json payloadJson(const Value& value) {
  const TypeInfo& type = *typeInfo(value.type);
  switch (type.element) {
    case ElementKind::kDigest:
      return toHex(value.bytes);
    case ElementKind::kBlob:
      return toBase64(value.bytes);
    case ElementKind::kNone:
      return nullptr;
    default:
      break;
  }
  if (!type.array) return elementJson(value, type, 0);
  Json elements = Json::array();
  for (std::size_t i = 0; i < elementCount(value); ++i) elements.push_back(elementJson(value, type, i));
  return elements;
}

Json toJson(const Value& value) {
  return Json{{"type", typeInfo(value.type)->name}, {"value", payloadJson(value)}};
}

Value fromJson(const Json& json, const std::string& where) {
  if (!json.is_object() || !json.contains("type") || !json["type"].is_string()) {
    badJson(where, "expected {\"type\": ..., \"value\": ...}");
  }
  const std::string name = json["type"].get<std::string>();
  const TypeInfo* type = typeByName(name);
  if (type == nullptr) badJson(where, "unknown type \"" + name + "\" (known: " + typeNames() + ")");
  if (!json.contains("value")) badJson(where, "the value is missing");
  const Json& payload = json["value"];
  Value value;
  value.type = type->code;
  if (!type->array) {
    appendElement(*type, payload, value, where);
    return value;
  }
  if (!payload.is_array()) badJson(where, std::string("expected an array for ") + type->name);
  for (const Json& element : payload) appendElement(*type, element, value, where);
  return value;
}

Json valuesJson(const NamedValues& values) {
  Json object = Json::object();
  for (const auto& [name, value] : values) object[nameKey(name)] = toJson(value);
  return object;
}

NamedValues valuesFromJson(const Json& json, const std::string& where) {
  if (!json.is_object()) badJson(where, "expected an object of values");
  NamedValues values;
  for (const auto& [key, entry] : json.items()) {
    const std::string valueWhere = where + ", value \"" + key + "\"";
    values.emplace_back(nameFromKey(key, valueWhere), fromJson(entry, valueWhere));
  }
  return values;
}

std::string nameKey(std::u16string_view name) {
  std::u16string escaped;
  std::string key;
  const auto flush = [&] {
    key += toUtf8(escaped);
    escaped.clear();
  };
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char16_t unit = name[i];
    const bool pair = unit >= 0xD800 && unit <= 0xDBFF && i + 1 < name.size() &&
                      name[i + 1] >= 0xDC00 && name[i + 1] <= 0xDFFF;
    if (pair) {
      escaped += unit;
      escaped += name[++i];
    } else if (unit >= 0xD800 && unit <= 0xDFFF) {
      flush();
      char text[8];
      std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(unit));
      key += text;
    } else if (unit == u'\\') {
      flush();
      key += "\\\\";
    } else {
      escaped += unit;
    }
  }
  flush();
  return key;
}

std::u16string nameFromKey(std::string_view key, const std::string& where) {
  std::u16string name;
  std::size_t plain = 0;
  const auto take = [&](std::size_t upTo) {
    auto units = fromUtf8(key.substr(plain, upTo - plain));
    if (!units) badJson(where, "the name is not valid UTF-8");
    name += *units;
  };
  for (std::size_t i = 0; i < key.size(); ++i) {
    if (key[i] != '\\') continue;
    take(i);
    if (i + 1 < key.size() && key[i + 1] == '\\') {
      name += u'\\';
      plain = i + 2;
    } else if (key.substr(i + 1, 1) == "u" && i + 6 <= key.size() &&
               unitsFromHex(key.substr(i + 2, 4))) {
      name += (*unitsFromHex(key.substr(i + 2, 4)))[0];
      plain = i + 6;
    } else {
      badJson(where, "a \"\\\" in a name must be written \"\\\\\"");
    }
    i = plain - 1;
  }
  take(key.size());
  return name;
}

}  // namespace vesk::tarnhive::tool
