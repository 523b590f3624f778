// The table of value kinds: their names on the command line and in JSON,
// and what their elements are.
#include "Value.h"

namespace vesk::tarnhive::tool {
namespace {

using K = ElementKind;

constexpr TypeInfo kTypes[] = {
    {kNOTSET, "notset", K::kNone, 0, false},
    {kDIGEST, "digest", K::kDigest, 0, false},
    {kANSISTRING, "narrow", K::kNarrow, 0, false},
    {kSTRING, "string", K::kWide, 0, false},
    {kBLOB, "binary", K::kBlob, 0, false},
    {kBOOL, "bool", K::kBool, 1, false},
    {kINT8, "int8", K::kSigned, 1, false},
    {kUINT8, "uint8", K::kUnsigned, 1, false},
    {kINT16, "int16", K::kSigned, 2, false},
    {kUINT16, "uint16", K::kUnsigned, 2, false},
    {kINT32, "int32", K::kSigned, 4, false},
    {kUINT32, "uint32", K::kUnsigned, 4, false},
    {kINT64, "int64", K::kSigned, 8, false},
    {kUINT64, "uint64", K::kUnsigned, 8, false},
    {kFLOAT32, "float32", K::kFloat, 4, false},
    {kFLOAT64, "float64", K::kFloat, 8, false},
    {kANSISTRINGARRAY, "narrow-array", K::kNarrow, 0, true},
    {kSTRINGARRAY, "string-array", K::kWide, 0, true},
    {kBOOLARRAY, "bool-array", K::kBool, 1, true},
    {kINT8ARRAY, "int8-array", K::kSigned, 1, true},
    {kUINT8ARRAY, "uint8-array", K::kUnsigned, 1, true},
    {kINT16ARRAY, "int16-array", K::kSigned, 2, true},
    {kUINT16ARRAY, "uint16-array", K::kUnsigned, 2, true},
    {kINT32ARRAY, "int32-array", K::kSigned, 4, true},
    {kUINT32ARRAY, "uint32-array", K::kUnsigned, 4, true},
    {kINT64ARRAY, "int64-array", K::kSigned, 8, true},
    {kUINT64ARRAY, "uint64-array", K::kUnsigned, 8, true},
    {kFLOAT32ARRAY, "float32-array", K::kFloat, 4, true},
    {kFLOAT64ARRAY, "float64-array", K::kFloat, 8, true},
};

}  // namespace

const TypeInfo* typeInfo(BucketValueType code) {
  return code <= kFLOAT64ARRAY ? &kTypes[code] : nullptr;
}

const TypeInfo* typeByName(std::string_view name) {
  std::string wanted(name);
  if (wanted.size() > 2 && wanted.ends_with("[]")) {
    wanted = wanted.substr(0, wanted.size() - 2) + "-array";
  }
  for (const TypeInfo& type : kTypes) {
    if (wanted == type.name && type.code != kNOTSET) return &type;
  }
  return nullptr;
}

std::string typeNames() {
  std::string names;
  for (const TypeInfo& type : kTypes) {
    if (type.code == kNOTSET) continue;
    if (!names.empty()) names += ", ";
    names += type.name;
  }
  return names;
}

std::size_t elementCount(const Value& value) {
  const TypeInfo* type = typeInfo(value.type);
  if (type == nullptr || !type->array) return 1;
  switch (type->element) {
    case ElementKind::kNarrow:
      return value.narrow.size();
    case ElementKind::kWide:
      return value.wide.size();
    default:
      return value.bits.size();
  }
}

std::int64_t signedOf(std::uint64_t bits, unsigned width) {
  if (width >= 8) return static_cast<std::int64_t>(bits);
  const unsigned shift = 64 - 8 * width;
  return static_cast<std::int64_t>(bits << shift) >> shift;
}

}  // namespace vesk::tarnhive::tool
