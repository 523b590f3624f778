// Values through the library's typed getters and setters, one kind at a
// time; numbers travel as their bit patterns.
#include "ValueAccess.h"

#include <bit>
#include <cstring>
#include <memory>
#include <type_traits>

#include "Names.h"
#include "ToolError.h"

namespace vesk::tarnhive::tool {
namespace {

using orlo::NarrowString;
using orlo::WideString;

template <class T>
std::uint64_t bitsOf(T element) {
  if constexpr (std::is_same_v<T, bool>) {
    return element ? 1 : 0;
  } else if constexpr (std::is_same_v<T, float>) {
    return std::bit_cast<std::uint32_t>(element);
  } else if constexpr (std::is_same_v<T, double>) {
    return std::bit_cast<std::uint64_t>(element);
  } else {
    return static_cast<std::make_unsigned_t<T>>(element);
  }
}

template <class T>
T elementOf(std::uint64_t bits) {
  if constexpr (std::is_same_v<T, bool>) {
    return bits != 0;
  } else if constexpr (std::is_same_v<T, float>) {
    return std::bit_cast<float>(static_cast<std::uint32_t>(bits));
  } else if constexpr (std::is_same_v<T, double>) {
    return std::bit_cast<double>(bits);
  } else {
    return static_cast<T>(bits);
  }
}

template <class T>
void readScalar(IBucketValue& value, T (IBucketValue::*get)(TarnhiveStatus*), Value& out,
                TarnhiveStatus* status) {
  out.bits.push_back(bitsOf((value.*get)(status)));
}

template <class T>
void readArray(IBucketValue& value, T (IBucketValue::*get)(std::uint32_t, TarnhiveStatus*),
               Value& out, TarnhiveStatus* status) {
  for (std::uint32_t i = 0, n = value.getArraySize(); i < n; ++i) {
    out.bits.push_back(bitsOf((value.*get)(i, status)));
  }
}

template <class T>
void storeScalar(IBucket& bucket, bool (IBucket::*set)(const WideString&, T, TarnhiveStatus*, bool),
                 const WideString& name, const Value& value, TarnhiveStatus* status) {
  (bucket.*set)(name, elementOf<T>(value.bits.at(0)), status, true);
}

template <class T>
void storeArray(IBucket& bucket,
                bool (IBucket::*set)(const WideString&, const T*, std::uint32_t, TarnhiveStatus*, bool),
                const WideString& name, const Value& value, TarnhiveStatus* status) {
  const std::size_t n = value.bits.size();
  std::unique_ptr<T[]> elements(new T[n == 0 ? 1 : n]);
  for (std::size_t i = 0; i < n; ++i) elements[i] = elementOf<T>(value.bits[i]);
  (bucket.*set)(name, elements.get(), static_cast<std::uint32_t>(n), status, true);
}

void readStrings(IBucketValue& value, Value& out, TarnhiveStatus* status) {
  for (std::uint32_t i = 0, n = value.getArraySize(); i < n; ++i) {
    if (value.getType() == kSTRINGARRAY) {
      out.wide.push_back(fromWide(value.getStringArrayElement(i, status)));
    } else {
      const NarrowString text = value.getAnsiStringArrayElement(i, status);
      out.narrow.emplace_back(text.data(), text.length());
    }
  }
}

void readSingle(IBucketValue& value, Value& out, TarnhiveStatus* status) {
  switch (value.getType()) {
    case kDIGEST: {
      const Digest digest = value.getDigest(status);
      out.bytes.assign(reinterpret_cast<const char*>(digest.bytes()), Digest::kSize);
      return;
    }
    case kANSISTRING: {
      const NarrowString text = value.getAnsiString(status);
      out.narrow.emplace_back(text.data(), text.length());
      return;
    }
    case kSTRING:
      out.wide.push_back(fromWide(value.getString(status)));
      return;
    case kBLOB: {
      const std::uint32_t size = value.getBlobSize(status);
      out.bytes.resize(size);
      if (size > 0) value.getBlob(reinterpret_cast<std::uint8_t*>(out.bytes.data()), size, status);
      return;
    }
    case kBOOL: return readScalar(value, &IBucketValue::getBool, out, status);
    case kINT8: return readScalar(value, &IBucketValue::getInt8, out, status);
    case kUINT8: return readScalar(value, &IBucketValue::getUInt8, out, status);
    case kINT16: return readScalar(value, &IBucketValue::getInt16, out, status);
    case kUINT16: return readScalar(value, &IBucketValue::getUInt16, out, status);
    case kINT32: return readScalar(value, &IBucketValue::getInt32, out, status);
    case kUINT32: return readScalar(value, &IBucketValue::getUInt32, out, status);
    case kINT64: return readScalar(value, &IBucketValue::getInt64, out, status);
    case kUINT64: return readScalar(value, &IBucketValue::getUInt64, out, status);
    case kFLOAT32: return readScalar(value, &IBucketValue::getFloat32, out, status);
    case kFLOAT64: return readScalar(value, &IBucketValue::getFloat64, out, status);
    default: return;
  }
}

}  // namespace

// Wide strings hold UTF-16 units on every platform (wchar_t on Windows).
std::u16string fromWide(const WideString& text) {
  static_assert(sizeof(orlo::WChar) == sizeof(char16_t));
  return std::u16string(reinterpret_cast<const char16_t*>(text.data()), text.length());
}

WideString toWide(const std::u16string& text) {
  return WideString(text.data(), static_cast<std::uint32_t>(text.size()));
}

Value readValue(IBucketValue& value) {
  TarnhiveStatus status;
  Value out;
  out.type = value.getType();
  switch (out.type) {
    case kANSISTRINGARRAY:
    case kSTRINGARRAY: readStrings(value, out, &status); break;
    case kBOOLARRAY: readArray(value, &IBucketValue::getBoolArrayElement, out, &status); break;
    case kINT8ARRAY: readArray(value, &IBucketValue::getInt8ArrayElement, out, &status); break;
    case kUINT8ARRAY: readArray(value, &IBucketValue::getUInt8ArrayElement, out, &status); break;
    case kINT16ARRAY: readArray(value, &IBucketValue::getInt16ArrayElement, out, &status); break;
    case kUINT16ARRAY: readArray(value, &IBucketValue::getUInt16ArrayElement, out, &status); break;
    case kINT32ARRAY: readArray(value, &IBucketValue::getInt32ArrayElement, out, &status); break;
    case kUINT32ARRAY: readArray(value, &IBucketValue::getUInt32ArrayElement, out, &status); break;
    case kINT64ARRAY: readArray(value, &IBucketValue::getInt64ArrayElement, out, &status); break;
    case kUINT64ARRAY: readArray(value, &IBucketValue::getUInt64ArrayElement, out, &status); break;
    case kFLOAT32ARRAY: readArray(value, &IBucketValue::getFloat32ArrayElement, out, &status); break;
    case kFLOAT64ARRAY: readArray(value, &IBucketValue::getFloat64ArrayElement, out, &status); break;
    default:
      if (typeInfo(out.type) == nullptr) {
        fail(kExitDamaged, "a value has the unknown type code " + std::to_string(out.type));
      }
      readSingle(value, out, &status);
  }
  require(status, "reading a value");
  return out;
}

NamedValues readValues(IBucket& bucket, bool withLinks) {
  TarnhiveStatus status;
  const std::u16string owner = fromWide(bucket.getFullName());
  NamedValues values;
  WideString name;
  IBucketValue* value = nullptr;
  const std::uint32_t handle = bucket.openEnumeration();
  for (bool more = bucket.enumFirstValue(name, value, handle, &status); more;
       more = bucket.enumNextValue(name, value, handle, &status)) {
    Value content = readValue(*value);
    std::u16string valueName = fromWide(name);
    if (withLinks || !isChildLink(owner, valueName, content)) {
      values.emplace_back(std::move(valueName), std::move(content));
    }
  }
  if (value != nullptr) value->release();
  bucket.closeEnumeration(handle);
  require(status, "reading the values of " + displayName(owner));
  return values;
}

std::vector<std::u16string> childLinks(IBucket& bucket) {
  const std::u16string owner = fromWide(bucket.getFullName());
  std::vector<std::u16string> children;
  for (auto& [name, value] : readValues(bucket, true)) {
    if (isChildLink(owner, name, value)) children.push_back(name);
  }
  return children;
}

bool isChildLink(const std::u16string& owner, const std::u16string& name, const Value& value) {
  if (value.type != kDIGEST || !sameName(parentOf(name), owner) || name == owner) return false;
  const Digest digest(toWide(name));
  return value.bytes.size() == Digest::kSize &&
         std::memcmp(value.bytes.data(), digest.bytes(), Digest::kSize) == 0;
}

void storeValue(IBucket& bucket, const std::u16string& text, const Value& value,
                TarnhiveStatus* status) {
  const WideString name = toWide(text);
  switch (value.type) {
    case kDIGEST: {
      const auto* cursor = reinterpret_cast<const unsigned char*>(value.bytes.data());
      const Digest digest(cursor, cursor + value.bytes.size());
      bucket.setDigest(name, digest, status, true);
      return;
    }
    case kANSISTRING: {
      const std::string& bytes = value.narrow.at(0);
      bucket.setAnsiString(name, NarrowString(bytes.data(), static_cast<std::uint32_t>(bytes.size())), status, true);
      return;
    }
    case kSTRING: bucket.setString(name, toWide(value.wide.at(0)), status, true); return;
    case kBLOB:
      bucket.setBlob(name, reinterpret_cast<const std::uint8_t*>(value.bytes.data()),
                     static_cast<std::uint32_t>(value.bytes.size()), status, true);
      return;
    case kANSISTRINGARRAY: {
      std::vector<NarrowString> elements;
      for (const std::string& bytes : value.narrow) {
        elements.emplace_back(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
      }
      bucket.setAnsiStringArray(name, elements.data(), static_cast<std::uint32_t>(elements.size()), status, true);
      return;
    }
    case kSTRINGARRAY: {
      std::vector<WideString> elements;
      for (const std::u16string& units : value.wide) elements.push_back(toWide(units));
      bucket.setStringArray(name, elements.data(), static_cast<std::uint32_t>(elements.size()), status, true);
      return;
    }
    case kBOOL: return storeScalar<bool>(bucket, &IBucket::setBool, name, value, status);
    case kINT8: return storeScalar<std::int8_t>(bucket, &IBucket::setInt8, name, value, status);
    case kUINT8: return storeScalar<std::uint8_t>(bucket, &IBucket::setUInt8, name, value, status);
    case kINT16: return storeScalar<std::int16_t>(bucket, &IBucket::setInt16, name, value, status);
    case kUINT16: return storeScalar<std::uint16_t>(bucket, &IBucket::setUInt16, name, value, status);
    case kINT32: return storeScalar<std::int32_t>(bucket, &IBucket::setInt32, name, value, status);
    case kUINT32: return storeScalar<std::uint32_t>(bucket, &IBucket::setUInt32, name, value, status);
    case kINT64: return storeScalar<std::int64_t>(bucket, &IBucket::setInt64, name, value, status);
    case kUINT64: return storeScalar<std::uint64_t>(bucket, &IBucket::setUInt64, name, value, status);
    case kFLOAT32: return storeScalar<float>(bucket, &IBucket::setFloat32, name, value, status);
    case kFLOAT64: return storeScalar<double>(bucket, &IBucket::setFloat64, name, value, status);
    case kBOOLARRAY: return storeArray<bool>(bucket, &IBucket::setBoolArray, name, value, status);
    case kINT8ARRAY: return storeArray<std::int8_t>(bucket, &IBucket::setInt8Array, name, value, status);
    case kUINT8ARRAY: return storeArray<std::uint8_t>(bucket, &IBucket::setUInt8Array, name, value, status);
    case kINT16ARRAY: return storeArray<std::int16_t>(bucket, &IBucket::setInt16Array, name, value, status);
    case kUINT16ARRAY: return storeArray<std::uint16_t>(bucket, &IBucket::setUInt16Array, name, value, status);
    case kINT32ARRAY: return storeArray<std::int32_t>(bucket, &IBucket::setInt32Array, name, value, status);
    case kUINT32ARRAY: return storeArray<std::uint32_t>(bucket, &IBucket::setUInt32Array, name, value, status);
    case kINT64ARRAY: return storeArray<std::int64_t>(bucket, &IBucket::setInt64Array, name, value, status);
    case kUINT64ARRAY: return storeArray<std::uint64_t>(bucket, &IBucket::setUInt64Array, name, value, status);
    case kFLOAT32ARRAY: return storeArray<float>(bucket, &IBucket::setFloat32Array, name, value, status);
    case kFLOAT64ARRAY: return storeArray<double>(bucket, &IBucket::setFloat64Array, name, value, status);
    default: fail(kExitUsage, "a value of type notset cannot be stored");
  }
}

}  // namespace vesk::tarnhive::tool
