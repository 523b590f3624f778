// BucketValue's life: construction, the setters, releasing payloads, copies
// and the memory estimate.
#include "bucket/BucketValue.h"

#include <cstring>

#include "bucket/ValuePayload.h"
#include "status/StatusGuard.h"
#include "vesk/orlo/Serial.h"

namespace vesk::tarnhive {

static_assert(sizeof(bool) == 1, "bool arrays are stored as one byte per element");
static_assert(sizeof(float) == 4 && sizeof(double) == 8, "floats are IEEE 754 single and double");

using orlo::NarrowString;
using orlo::WideString;

BucketValue::BucketValue(const BucketValue& source, TarnhiveStatus* status) {
  copyFrom(source, status);
}
BucketValue::BucketValue(const Digest& value, TarnhiveStatus* status) { setDigest(value, status); }
BucketValue::BucketValue(const NarrowString& value, TarnhiveStatus* status) {
  setAnsiString(value, status);
}
BucketValue::BucketValue(const WideString& value, TarnhiveStatus* status) {
  setString(value, status);
}
BucketValue::BucketValue(BlobTag, const std::uint8_t* data, std::uint32_t length,
                         TarnhiveStatus* status) {
  setBlob(data, length, status);
}
BucketValue::BucketValue(bool value, TarnhiveStatus* status) { setBool(value, status); }
BucketValue::BucketValue(std::int8_t value, TarnhiveStatus* status) { setInt8(value, status); }
BucketValue::BucketValue(std::uint8_t value, TarnhiveStatus* status) { setUInt8(value, status); }
BucketValue::BucketValue(std::int16_t value, TarnhiveStatus* status) { setInt16(value, status); }
BucketValue::BucketValue(std::uint16_t value, TarnhiveStatus* status) { setUInt16(value, status); }
BucketValue::BucketValue(std::int32_t value, TarnhiveStatus* status) { setInt32(value, status); }
BucketValue::BucketValue(std::uint32_t value, TarnhiveStatus* status) { setUInt32(value, status); }
BucketValue::BucketValue(std::int64_t value, TarnhiveStatus* status) { setInt64(value, status); }
BucketValue::BucketValue(std::uint64_t value, TarnhiveStatus* status) { setUInt64(value, status); }
BucketValue::BucketValue(float value, TarnhiveStatus* status) { setFloat32(value, status); }
BucketValue::BucketValue(double value, TarnhiveStatus* status) { setFloat64(value, status); }

BucketValue::BucketValue(const NarrowString* elements, std::uint32_t count,
                         TarnhiveStatus* status) {
  setAnsiStringArray(elements, count, status);
}
BucketValue::BucketValue(const WideString* elements, std::uint32_t count, TarnhiveStatus* status) {
  setStringArray(elements, count, status);
}
BucketValue::BucketValue(const bool* elements, std::uint32_t count, TarnhiveStatus* status) {
  setBoolArray(elements, count, status);
}
BucketValue::BucketValue(const std::int8_t* elements, std::uint32_t count, TarnhiveStatus* status) {
  setInt8Array(elements, count, status);
}
BucketValue::BucketValue(const std::uint8_t* elements, std::uint32_t count,
                         TarnhiveStatus* status) {
  setUInt8Array(elements, count, status);
}
BucketValue::BucketValue(const std::int16_t* elements, std::uint32_t count,
                         TarnhiveStatus* status) {
  setInt16Array(elements, count, status);
}
BucketValue::BucketValue(const std::uint16_t* elements, std::uint32_t count,
                         TarnhiveStatus* status) {
  setUInt16Array(elements, count, status);
}
BucketValue::BucketValue(const std::int32_t* elements, std::uint32_t count,
                         TarnhiveStatus* status) {
  setInt32Array(elements, count, status);
}
BucketValue::BucketValue(const std::uint32_t* elements, std::uint32_t count,
                         TarnhiveStatus* status) {
  setUInt32Array(elements, count, status);
}
BucketValue::BucketValue(const std::int64_t* elements, std::uint32_t count,
                         TarnhiveStatus* status) {
  setInt64Array(elements, count, status);
}
BucketValue::BucketValue(const std::uint64_t* elements, std::uint32_t count,
                         TarnhiveStatus* status) {
  setUInt64Array(elements, count, status);
}
BucketValue::BucketValue(const float* elements, std::uint32_t count, TarnhiveStatus* status) {
  setFloat32Array(elements, count, status);
}
BucketValue::BucketValue(const double* elements, std::uint32_t count, TarnhiveStatus* status) {
  setFloat64Array(elements, count, status);
}

BucketValue::~BucketValue() { clearValue(); }

void BucketValue::clearValue() noexcept {
  switch (type_) {
    case kDIGEST:
      payload::destroy(payloadAs<Digest>());
      break;
    case kANSISTRING:
      payload::destroy(payloadAs<NarrowString>());
      break;
    case kSTRING:
      payload::destroy(payloadAs<WideString>());
      break;
    case kBLOB:
      payload::release(pointer());
      break;
    case kANSISTRINGARRAY:
      payload::destroyStrings(static_cast<NarrowString*>(arrayData_), arrayCount_);
      break;
    case kSTRINGARRAY:
      payload::destroyStrings(static_cast<WideString*>(arrayData_), arrayCount_);
      break;
    default:
      // Numeric arrays hold plain bytes; every other kind holds no block.
      payload::release(arrayData_);
      break;
  }
  type_ = kNOTSET;
  std::memset(scalar_, 0, sizeof scalar_);
  blobLength_ = 0;
  arrayCount_ = 0;
  arrayData_ = nullptr;
}

void BucketValue::adoptPointer(BucketValueType type, void* payload) noexcept {
  clearValue();
  std::memcpy(scalar_, &payload, sizeof payload);
  type_ = type;
}

void BucketValue::adoptArray(BucketValueType type, void* block, std::uint32_t count) noexcept {
  clearValue();
  arrayData_ = block;
  arrayCount_ = count;
  type_ = type;
}

// The new payload is made completely before the old one is released, so an
// argument that refers into this value is still intact while it is copied.
template <class Build>
void BucketValue::replaceWith(TarnhiveStatus* status, Build&& build) {
  bool built = false;
  unconditionalRun(status, [&] {
    build();
    built = true;
  });
  if (!built) clearValue();
}

void BucketValue::setDigest(const Digest& value, TarnhiveStatus* status) {
  replaceWith(status, [&] { adoptPointer(kDIGEST, payload::newCopy(value)); });
}

void BucketValue::setAnsiString(const NarrowString& value, TarnhiveStatus* status) {
  replaceWith(status, [&] { adoptPointer(kANSISTRING, payload::newCopy(value)); });
}

void BucketValue::setString(const WideString& value, TarnhiveStatus* status) {
  replaceWith(status, [&] { adoptPointer(kSTRING, payload::newCopy(value)); });
}

void BucketValue::setBlob(const std::uint8_t* data, std::uint32_t length, TarnhiveStatus* status) {
  if (data == nullptr && length != 0) {
    setStatus(status, kNULLARGUMENT);
    return;
  }
  replaceWith(status, [&] {
    void* block = payload::allocateOrThrow(length);
    if (length != 0) std::memcpy(block, data, length);
    adoptPointer(kBLOB, block);
    blobLength_ = length;
  });
}

// The bool's own byte is kept, so a caller's non-canonical true stays as it
// was given (and compares by that byte).
void BucketValue::setBool(bool value, TarnhiveStatus*) { storeScalar(kBOOL, value); }
void BucketValue::setInt8(std::int8_t value, TarnhiveStatus*) { storeScalar(kINT8, value); }
void BucketValue::setUInt8(std::uint8_t value, TarnhiveStatus*) { storeScalar(kUINT8, value); }
void BucketValue::setInt16(std::int16_t value, TarnhiveStatus*) { storeScalar(kINT16, value); }
void BucketValue::setUInt16(std::uint16_t value, TarnhiveStatus*) { storeScalar(kUINT16, value); }
void BucketValue::setInt32(std::int32_t value, TarnhiveStatus*) { storeScalar(kINT32, value); }
void BucketValue::setUInt32(std::uint32_t value, TarnhiveStatus*) { storeScalar(kUINT32, value); }
void BucketValue::setInt64(std::int64_t value, TarnhiveStatus*) { storeScalar(kINT64, value); }
void BucketValue::setUInt64(std::uint64_t value, TarnhiveStatus*) { storeScalar(kUINT64, value); }
void BucketValue::setFloat32(float value, TarnhiveStatus*) { storeScalar(kFLOAT32, value); }
void BucketValue::setFloat64(double value, TarnhiveStatus*) { storeScalar(kFLOAT64, value); }

template <class S>
void BucketValue::setStrings(BucketValueType type, const S* elements, std::uint32_t count,
                             TarnhiveStatus* status) {
  if (elements == nullptr && count != 0) {
    setStatus(status, kNULLARGUMENT);
    return;
  }
  replaceWith(status, [&] { adoptArray(type, payload::newStringArray(elements, count), count); });
}

void BucketValue::setRawArray(BucketValueType type, const void* elements, std::uint32_t count,
                              TarnhiveStatus* status) {
  if (elements == nullptr && count != 0) {
    setStatus(status, kNULLARGUMENT);
    return;
  }
  replaceWith(status, [&] {
    const std::size_t bytes = std::size_t{count} * payload::elementSize(type);
    void* block = payload::allocateOrThrow(bytes);
    if (bytes != 0) std::memcpy(block, elements, bytes);
    adoptArray(type, block, count);
  });
}

void BucketValue::setAnsiStringArray(const NarrowString* elements, std::uint32_t count,
                                     TarnhiveStatus* status) {
  setStrings(kANSISTRINGARRAY, elements, count, status);
}
void BucketValue::setStringArray(const WideString* elements, std::uint32_t count,
                                 TarnhiveStatus* status) {
  setStrings(kSTRINGARRAY, elements, count, status);
}

void BucketValue::setBoolArray(const bool* elements, std::uint32_t count, TarnhiveStatus* status) {
  setRawArray(kBOOLARRAY, elements, count, status);
}
void BucketValue::setInt8Array(const std::int8_t* elements, std::uint32_t count,
                               TarnhiveStatus* status) {
  setRawArray(kINT8ARRAY, elements, count, status);
}
void BucketValue::setUInt8Array(const std::uint8_t* elements, std::uint32_t count,
                                TarnhiveStatus* status) {
  setRawArray(kUINT8ARRAY, elements, count, status);
}
void BucketValue::setInt16Array(const std::int16_t* elements, std::uint32_t count,
                                TarnhiveStatus* status) {
  setRawArray(kINT16ARRAY, elements, count, status);
}
void BucketValue::setUInt16Array(const std::uint16_t* elements, std::uint32_t count,
                                 TarnhiveStatus* status) {
  setRawArray(kUINT16ARRAY, elements, count, status);
}
void BucketValue::setInt32Array(const std::int32_t* elements, std::uint32_t count,
                                TarnhiveStatus* status) {
  setRawArray(kINT32ARRAY, elements, count, status);
}
void BucketValue::setUInt32Array(const std::uint32_t* elements, std::uint32_t count,
                                 TarnhiveStatus* status) {
  setRawArray(kUINT32ARRAY, elements, count, status);
}
void BucketValue::setInt64Array(const std::int64_t* elements, std::uint32_t count,
                                TarnhiveStatus* status) {
  setRawArray(kINT64ARRAY, elements, count, status);
}
void BucketValue::setUInt64Array(const std::uint64_t* elements, std::uint32_t count,
                                 TarnhiveStatus* status) {
  setRawArray(kUINT64ARRAY, elements, count, status);
}
void BucketValue::setFloat32Array(const float* elements, std::uint32_t count,
                                  TarnhiveStatus* status) {
  setRawArray(kFLOAT32ARRAY, elements, count, status);
}
void BucketValue::setFloat64Array(const double* elements, std::uint32_t count,
                                  TarnhiveStatus* status) {
  setRawArray(kFLOAT64ARRAY, elements, count, status);
}

// Every block is made afresh through the setter of the source's kind. A
// payload kind without its payload (left by a failed read) is copied as such,
// so that the copy equals its source. A kind beyond the known ones has no
// setter: its copy stays kNOTSET, and a bucket refuses it.
void BucketValue::copyFrom(const BucketValue& source, TarnhiveStatus* status) {
  const BucketValueType type = source.type_;
  const bool missing = source.pointer() == nullptr;
  switch (type) {
    case kDIGEST:
      if (!missing) return setDigest(*source.payloadAs<Digest>(), status);
      break;
    case kANSISTRING:
      if (!missing) return setAnsiString(*source.payloadAs<NarrowString>(), status);
      break;
    case kSTRING:
      if (!missing) return setString(*source.payloadAs<WideString>(), status);
      break;
    case kBLOB:
      if (!missing) return setBlob(source.payloadAs<std::uint8_t>(), source.blobLength_, status);
      blobLength_ = source.blobLength_;
      break;
    case kANSISTRINGARRAY:
      return setAnsiStringArray(static_cast<const NarrowString*>(source.arrayData_),
                                source.arrayCount_, status);
    case kSTRINGARRAY:
      return setStringArray(static_cast<const WideString*>(source.arrayData_), source.arrayCount_,
                            status);
    default:
      if (payload::isNumericArray(type)) {
        return setRawArray(type, source.arrayData_, source.arrayCount_, status);
      }
      if (!payload::isScalar(type)) return;
      std::memcpy(scalar_, source.scalar_, sizeof scalar_);
      break;
  }
  type_ = type;
}

std::uint32_t BucketValue::getMemUsage() {
  using orlo::serial::saturatingAdd;
  constexpr std::uint32_t kBase = 64;
  std::uint32_t extra = 0;
  switch (type_) {
    case kDIGEST:
      extra = 48;
      break;
    case kANSISTRING:
      if (const auto* text = payloadAs<NarrowString>()) extra = text->length();
      break;
    case kSTRING:
      if (const auto* text = payloadAs<WideString>()) {
        extra = saturatingAdd(text->length(), text->length());
      }
      break;
    case kBLOB:
      extra = blobLength_;
      break;
    case kANSISTRINGARRAY:
      for (std::uint32_t i = 0; i < arrayCount_; ++i) {
        extra = saturatingAdd(extra, static_cast<const NarrowString*>(arrayData_)[i].length());
      }
      break;
    case kSTRINGARRAY:
      for (std::uint32_t i = 0; i < arrayCount_; ++i) {
        const std::uint32_t n = static_cast<const WideString*>(arrayData_)[i].length();
        extra = saturatingAdd(extra, saturatingAdd(n, n));
      }
      break;
    default:
      if (payload::isNumericArray(type_)) {
        const std::uint64_t bytes = std::uint64_t{arrayCount_} * payload::elementSize(type_);
        extra = bytes > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<std::uint32_t>(bytes);
      }
      break;
  }
  return saturatingAdd(kBase, extra);
}

}  // namespace vesk::tarnhive
