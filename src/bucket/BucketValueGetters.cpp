// The typed getters of BucketValue and the frees of the string blocks they
// hand out. Every getter does nothing when the record already holds an error,
// reads only its own kind, and reports every failure through the record.
#include <cstring>

#include "bucket/BucketValue.h"
#include "bucket/ValuePayload.h"
#include "status/StatusGuard.h"

namespace vesk::tarnhive {

using orlo::NarrowString;
using orlo::WideString;

bool BucketValue::hasKind(BucketValueType type, TarnhiveStatus* status) const noexcept {
  if (type_ == type) return true;
  setStatus(status, kWRONGTYPE);
  return false;
}

template <class T>
T BucketValue::getScalar(BucketValueType type, TarnhiveStatus* status) {
  return guardedCall<T>(status, T{}, [&] { return hasKind(type, status) ? loadScalar<T>() : T{}; });
}

// Strings are built outside the guard: a string result cannot be copied
// inside it without a chance to throw.
template <class S>
S BucketValue::getPayloadString(BucketValueType type, TarnhiveStatus* status) {
  S out;
  guardedRun(status, [&] {
    if (!hasKind(type, status)) return;
    if (const S* text = payloadAs<S>()) {
      out = *text;
    } else {
      setStatus(status, kNODATA);
    }
  });
  return out;
}

template <class T>
const T* BucketValue::element(BucketValueType type, std::uint32_t index,
                              TarnhiveStatus* status) const {
  if (!hasKind(type, status)) return nullptr;
  if (index >= arrayCount_) {
    setStatus(status, kINDEXOUTOFRANGE);
    return nullptr;
  }
  return static_cast<const T*>(arrayData_) + index;
}

template <class T>
T BucketValue::getElement(BucketValueType type, std::uint32_t index, TarnhiveStatus* status) {
  return guardedCall<T>(status, T{}, [&] {
    const T* found = element<T>(type, index, status);
    return found ? *found : T{};
  });
}

template <class S>
S BucketValue::getStringElement(BucketValueType type, std::uint32_t index, TarnhiveStatus* status) {
  S out;
  guardedRun(status, [&] {
    if (const S* found = element<S>(type, index, status)) out = *found;
  });
  return out;
}

template <class T>
std::uint32_t BucketValue::getWholeArray(BucketValueType type, T** out, TarnhiveStatus* status) {
  return guardedCall<std::uint32_t>(status, 0, [&]() -> std::uint32_t {
    if (out != nullptr) *out = nullptr;
    if (!hasKind(type, status)) return 0;
    if (out == nullptr) {
      setStatus(status, kNULLARGUMENT);
      return 0;
    }
    if (arrayCount_ == 0) {
      setStatus(status, kNODATA);
      return 0;
    }
    const auto* elements = static_cast<const T*>(arrayData_);
    if constexpr (std::is_same_v<T, NarrowString> || std::is_same_v<T, WideString>) {
      *out = payload::newStringArray(elements, arrayCount_);
    } else {
      const std::size_t bytes = std::size_t{arrayCount_} * sizeof(T);
      *out = static_cast<T*>(payload::allocateOrThrow(bytes));
      std::memcpy(*out, elements, bytes);
    }
    return arrayCount_;
  });
}

template <class S>
void BucketValue::freeStrings(BucketValueType type, S* block, TarnhiveStatus* status) {
  guardedRun(status, [&] {
    // The count is this value's, not the caller's: the block must come back
    // to the value that produced it, unchanged since.
    if (hasKind(type, status)) payload::destroyStrings(block, arrayCount_);
  });
}

Digest BucketValue::getDigest(TarnhiveStatus* status) {
  return guardedCall<Digest>(status, Digest(), [&] {
    if (!hasKind(kDIGEST, status)) return Digest();
    if (const Digest* digest = payloadAs<Digest>()) return Digest(*digest);
    setStatus(status, kNODATA);
    return Digest();
  });
}

NarrowString BucketValue::getAnsiString(TarnhiveStatus* status) {
  return getPayloadString<NarrowString>(kANSISTRING, status);
}

WideString BucketValue::getString(TarnhiveStatus* status) {
  return getPayloadString<WideString>(kSTRING, status);
}

std::uint32_t BucketValue::getBlob(std::uint8_t* buffer, std::uint32_t bufferSize,
                                   TarnhiveStatus* status) {
  return guardedCall<std::uint32_t>(status, 0, [&]() -> std::uint32_t {
    if (!hasKind(kBLOB, status)) return 0;
    const auto* data = payloadAs<const std::uint8_t>();
    if (data == nullptr) {
      setStatus(status, kNODATA);
      return 0;
    }
    const std::uint32_t n = blobLength_;
    if (bufferSize >= n) {
      if (n != 0 && buffer == nullptr) {
        setStatus(status, kNULLARGUMENT);
      } else if (n != 0) {
        std::memcpy(buffer, data, n);
      }
    } else if (bufferSize != 0) {
      // A size of 0 only asks for the size.
      setStatus(status, kBUFFERTOOSMALL);
    }
    return n;
  });
}

std::uint32_t BucketValue::getBlobSize(TarnhiveStatus* status) {
  return guardedCall<std::uint32_t>(status, 0,
                                    [&] { return hasKind(kBLOB, status) ? blobLength_ : 0u; });
}

bool BucketValue::getBool(TarnhiveStatus* status) {
  return guardedCall(status, false, [&] { return hasKind(kBOOL, status) && storedBool(); });
}
std::int8_t BucketValue::getInt8(TarnhiveStatus* status) {
  return getScalar<std::int8_t>(kINT8, status);
}
std::uint8_t BucketValue::getUInt8(TarnhiveStatus* status) {
  return getScalar<std::uint8_t>(kUINT8, status);
}
std::int16_t BucketValue::getInt16(TarnhiveStatus* status) {
  return getScalar<std::int16_t>(kINT16, status);
}
std::uint16_t BucketValue::getUInt16(TarnhiveStatus* status) {
  return getScalar<std::uint16_t>(kUINT16, status);
}
std::int32_t BucketValue::getInt32(TarnhiveStatus* status) {
  return getScalar<std::int32_t>(kINT32, status);
}
std::uint32_t BucketValue::getUInt32(TarnhiveStatus* status) {
  return getScalar<std::uint32_t>(kUINT32, status);
}
std::int64_t BucketValue::getInt64(TarnhiveStatus* status) {
  return getScalar<std::int64_t>(kINT64, status);
}
std::uint64_t BucketValue::getUInt64(TarnhiveStatus* status) {
  return getScalar<std::uint64_t>(kUINT64, status);
}
float BucketValue::getFloat32(TarnhiveStatus* status) { return getScalar<float>(kFLOAT32, status); }
double BucketValue::getFloat64(TarnhiveStatus* status) {
  return getScalar<double>(kFLOAT64, status);
}

NarrowString BucketValue::getAnsiStringArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getStringElement<NarrowString>(kANSISTRINGARRAY, index, status);
}
WideString BucketValue::getStringArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getStringElement<WideString>(kSTRINGARRAY, index, status);
}
// Read as a byte, so a stored non-canonical true reads as true.
bool BucketValue::getBoolArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getElement<std::uint8_t>(kBOOLARRAY, index, status) != 0;
}
std::int8_t BucketValue::getInt8ArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getElement<std::int8_t>(kINT8ARRAY, index, status);
}
std::uint8_t BucketValue::getUInt8ArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getElement<std::uint8_t>(kUINT8ARRAY, index, status);
}
std::int16_t BucketValue::getInt16ArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getElement<std::int16_t>(kINT16ARRAY, index, status);
}
std::uint16_t BucketValue::getUInt16ArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getElement<std::uint16_t>(kUINT16ARRAY, index, status);
}
std::int32_t BucketValue::getInt32ArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getElement<std::int32_t>(kINT32ARRAY, index, status);
}
std::uint32_t BucketValue::getUInt32ArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getElement<std::uint32_t>(kUINT32ARRAY, index, status);
}
std::int64_t BucketValue::getInt64ArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getElement<std::int64_t>(kINT64ARRAY, index, status);
}
std::uint64_t BucketValue::getUInt64ArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getElement<std::uint64_t>(kUINT64ARRAY, index, status);
}
float BucketValue::getFloat32ArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getElement<float>(kFLOAT32ARRAY, index, status);
}
double BucketValue::getFloat64ArrayElement(std::uint32_t index, TarnhiveStatus* status) {
  return getElement<double>(kFLOAT64ARRAY, index, status);
}

std::uint32_t BucketValue::getAnsiStringArray(NarrowString** out, TarnhiveStatus* status) {
  return getWholeArray(kANSISTRINGARRAY, out, status);
}
std::uint32_t BucketValue::getStringArray(WideString** out, TarnhiveStatus* status) {
  return getWholeArray(kSTRINGARRAY, out, status);
}
// The stored bytes are handed out as they are.
std::uint32_t BucketValue::getBoolArray(bool** out, TarnhiveStatus* status) {
  return getWholeArray(kBOOLARRAY, out, status);
}
std::uint32_t BucketValue::getInt8Array(std::int8_t** out, TarnhiveStatus* status) {
  return getWholeArray(kINT8ARRAY, out, status);
}
std::uint32_t BucketValue::getUInt8Array(std::uint8_t** out, TarnhiveStatus* status) {
  return getWholeArray(kUINT8ARRAY, out, status);
}
std::uint32_t BucketValue::getInt16Array(std::int16_t** out, TarnhiveStatus* status) {
  return getWholeArray(kINT16ARRAY, out, status);
}
std::uint32_t BucketValue::getUInt16Array(std::uint16_t** out, TarnhiveStatus* status) {
  return getWholeArray(kUINT16ARRAY, out, status);
}
std::uint32_t BucketValue::getInt32Array(std::int32_t** out, TarnhiveStatus* status) {
  return getWholeArray(kINT32ARRAY, out, status);
}
std::uint32_t BucketValue::getUInt32Array(std::uint32_t** out, TarnhiveStatus* status) {
  return getWholeArray(kUINT32ARRAY, out, status);
}
std::uint32_t BucketValue::getInt64Array(std::int64_t** out, TarnhiveStatus* status) {
  return getWholeArray(kINT64ARRAY, out, status);
}
std::uint32_t BucketValue::getUInt64Array(std::uint64_t** out, TarnhiveStatus* status) {
  return getWholeArray(kUINT64ARRAY, out, status);
}
std::uint32_t BucketValue::getFloat32Array(float** out, TarnhiveStatus* status) {
  return getWholeArray(kFLOAT32ARRAY, out, status);
}
std::uint32_t BucketValue::getFloat64Array(double** out, TarnhiveStatus* status) {
  return getWholeArray(kFLOAT64ARRAY, out, status);
}

void BucketValue::freeAnsiStringArray(NarrowString* block, TarnhiveStatus* status) {
  freeStrings(kANSISTRINGARRAY, block, status);
}
void BucketValue::freeStringArray(WideString* block, TarnhiveStatus* status) {
  freeStrings(kSTRINGARRAY, block, status);
}

}  // namespace vesk::tarnhive
