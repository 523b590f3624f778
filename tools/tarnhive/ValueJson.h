// The JSON form of a value, lossless for every kind: {"type": name,
// "value": ...}. 64-bit integers travel as decimal strings (exact in any
// JSON reader), floats as numbers or, for NaN and the infinities, as the
// names numberText gives; binary as base64; digests as hexadecimal. A
// string that is not valid UTF-16 travels as {"utf16": "<units in hex>"},
// narrow bytes that are not UTF-8 as {"hex": "..."}.
#pragma once

#include <nlohmann/json.hpp>

#include "Value.h"

namespace vesk::tarnhive::tool {

using Json = nlohmann::json;

Json toJson(const Value& value);
// Fails (usage) on a missing or unknown type, or a value that does not fit
// it; `where` names the value in the message.
Value fromJson(const Json& json, const std::string& where);

// The payload alone ("value" of toJson) and one element of an array kind,
// read as fromJson reads them.
Json payloadJson(const Value& value);
void appendElement(const TypeInfo& type, const Json& element, Value& out,
                   const std::string& where);

// A bucket's values as one object: {name key: toJson(value)}.
Json valuesJson(const NamedValues& values);
// The values of such an object; `where` names the bucket in messages.
NamedValues valuesFromJson(const Json& json, const std::string& where);

// Names of buckets and values as JSON keys: the UTF-8 text, with "\" written
// as "\\" and each unit of an unpaired surrogate as "\uXXXX", so that every
// name reads back exactly.
std::string nameKey(std::u16string_view name);
std::u16string nameFromKey(std::string_view key, const std::string& where);

}  // namespace vesk::tarnhive::tool
