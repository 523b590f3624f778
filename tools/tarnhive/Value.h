// The tool's own copy of a registry value: every one of the 29 kinds held
// exactly (numbers as their bit patterns, strings as their units), so that
// values read through the library and values decoded from the registry file
// compare, print and travel through JSON the same way.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vesk/tarnhive/BucketValueType.h"

namespace vesk::tarnhive::tool {

// What one element of a kind is.
enum class ElementKind { kNone, kDigest, kNarrow, kWide, kBlob, kBool, kSigned, kUnsigned, kFloat };

struct TypeInfo {
  BucketValueType code;
  const char* name;  // as written on the command line and in JSON
  ElementKind element;
  unsigned width;  // bytes of one numeric element; 0 for the others
  bool array;
};

// The kind's description; null for a code beyond the 29.
const TypeInfo* typeInfo(BucketValueType code);
// The kind named `name` ("int32", "int32-array" or "int32[]"); null when
// there is none.
const TypeInfo* typeByName(std::string_view name);
// Every kind's name, for help and error messages.
std::string typeNames();

struct Value {
  BucketValueType type = kNOTSET;
  // Bool, integer and float kinds: each element's bits, zero-extended from
  // its width (a float32 as its 32-bit pattern).
  std::vector<std::uint64_t> bits;
  std::vector<std::string> narrow;    // narrow string kinds: bytes as held
  std::vector<std::u16string> wide;   // wide string kinds: UTF-16 units as held
  std::string bytes;                  // blob bytes, or the 32 digest bytes

  bool operator==(const Value&) const = default;
};

// A bucket's values with their names, in the bucket's order.
using NamedValues = std::vector<std::pair<std::u16string, Value>>;

// Elements of an array kind; 1 for a scalar kind.
std::size_t elementCount(const Value& value);

// A numeric element's bits as the signed number of its width.
std::int64_t signedOf(std::uint64_t bits, unsigned width);

}  // namespace vesk::tarnhive::tool
