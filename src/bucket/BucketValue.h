// BucketValue: the one implementation of IBucketValue. A value holds one kind
// at a time. Scalars live in the value itself; digests, strings, blobs and
// arrays live in payload blocks that the value owns (ValuePayload.h), so that
// every block can be freed by the task allocator whichever module ends up
// holding it.
//
// Invariants:
//  - kNOTSET holds no block, and every non-array kind has a 0 element count;
//  - a payload kind may hold a null payload only after a failed or cut-short
//    read; every operation tolerates that state (getters report kNODATA);
//  - an array's element block is null only when its count is 0 after a failed
//    read; otherwise it holds exactly `arrayCount_` elements.
#pragma once

#include <cstdint>
#include <cstring>

#include "vesk/orlo/DLLAlloced.h"
#include "vesk/orlo/RefCounted.h"
#include "vesk/tarnhive/IBucketValue.h"

namespace vesk::tarnhive {

class BucketValue final
    : public orlo::RefCountedImplementation<IBucketValue, orlo::RefCountedThreadSafePolicy>,
      public orlo::DLLAlloced {
 public:
  // Selects the blob constructor, whose other arguments are those of the
  // kUINT8ARRAY constructor.
  struct BlobTag {};
  static constexpr BlobTag kBlobData{};

  // A kNOTSET value.
  BucketValue() noexcept = default;
  // A copy of source with every block allocated afresh. A failure is reported
  // as the setter of source's kind reports it, and leaves this value kNOTSET.
  BucketValue(const BucketValue& source, TarnhiveStatus* status);
  // One constructor per setter: an empty value, then the setter.
  BucketValue(const Digest& value, TarnhiveStatus* status);
  BucketValue(const NarrowString& value, TarnhiveStatus* status);
  BucketValue(const WideString& value, TarnhiveStatus* status);
  BucketValue(BlobTag, const std::uint8_t* data, std::uint32_t length, TarnhiveStatus* status);
  BucketValue(bool value, TarnhiveStatus* status);
  BucketValue(std::int8_t value, TarnhiveStatus* status);
  BucketValue(std::uint8_t value, TarnhiveStatus* status);
  BucketValue(std::int16_t value, TarnhiveStatus* status);
  BucketValue(std::uint16_t value, TarnhiveStatus* status);
  BucketValue(std::int32_t value, TarnhiveStatus* status);
  BucketValue(std::uint32_t value, TarnhiveStatus* status);
  BucketValue(std::int64_t value, TarnhiveStatus* status);
  BucketValue(std::uint64_t value, TarnhiveStatus* status);
  BucketValue(float value, TarnhiveStatus* status);
  BucketValue(double value, TarnhiveStatus* status);
  BucketValue(const NarrowString* elements, std::uint32_t count, TarnhiveStatus* status);
  BucketValue(const WideString* elements, std::uint32_t count, TarnhiveStatus* status);
  BucketValue(const bool* elements, std::uint32_t count, TarnhiveStatus* status);
  BucketValue(const std::int8_t* elements, std::uint32_t count, TarnhiveStatus* status);
  BucketValue(const std::uint8_t* elements, std::uint32_t count, TarnhiveStatus* status);
  BucketValue(const std::int16_t* elements, std::uint32_t count, TarnhiveStatus* status);
  BucketValue(const std::uint16_t* elements, std::uint32_t count, TarnhiveStatus* status);
  BucketValue(const std::int32_t* elements, std::uint32_t count, TarnhiveStatus* status);
  BucketValue(const std::uint32_t* elements, std::uint32_t count, TarnhiveStatus* status);
  BucketValue(const std::int64_t* elements, std::uint32_t count, TarnhiveStatus* status);
  BucketValue(const std::uint64_t* elements, std::uint32_t count, TarnhiveStatus* status);
  BucketValue(const float* elements, std::uint32_t count, TarnhiveStatus* status);
  BucketValue(const double* elements, std::uint32_t count, TarnhiveStatus* status);
  ~BucketValue() override;
  BucketValue(const BucketValue&) = delete;
  BucketValue& operator=(const BucketValue&) = delete;

  // Same kind, same record size, same content (see IBucketValue::isEqual).
  // Codes beyond kFLOAT64ARRAY are never equal.
  static bool valuesEqual(const BucketValue& a, const BucketValue& b) noexcept;

  BucketValueType getType() override { return type_; }
  std::uint32_t getArraySize() override { return arrayCount_; }
  bool isEqual(IBucketValue* const& a, IBucketValue* const& b) override;

  void setDigest(const Digest& value, TarnhiveStatus* status) override;
  void setAnsiString(const NarrowString& value, TarnhiveStatus* status) override;
  void setString(const WideString& value, TarnhiveStatus* status) override;
  void setBlob(const std::uint8_t* data, std::uint32_t length, TarnhiveStatus* status) override;
  void setBool(bool value, TarnhiveStatus* status) override;
  void setInt8(std::int8_t value, TarnhiveStatus* status) override;
  void setUInt8(std::uint8_t value, TarnhiveStatus* status) override;
  void setInt16(std::int16_t value, TarnhiveStatus* status) override;
  void setUInt16(std::uint16_t value, TarnhiveStatus* status) override;
  void setInt32(std::int32_t value, TarnhiveStatus* status) override;
  void setUInt32(std::uint32_t value, TarnhiveStatus* status) override;
  void setInt64(std::int64_t value, TarnhiveStatus* status) override;
  void setUInt64(std::uint64_t value, TarnhiveStatus* status) override;
  void setFloat32(float value, TarnhiveStatus* status) override;
  void setFloat64(double value, TarnhiveStatus* status) override;
  void setAnsiStringArray(const NarrowString* elements, std::uint32_t count,
                          TarnhiveStatus* status) override;
  void setStringArray(const WideString* elements, std::uint32_t count,
                      TarnhiveStatus* status) override;
  void setBoolArray(const bool* elements, std::uint32_t count, TarnhiveStatus* status) override;
  void setInt8Array(const std::int8_t* elements, std::uint32_t count,
                    TarnhiveStatus* status) override;
  void setUInt8Array(const std::uint8_t* elements, std::uint32_t count,
                     TarnhiveStatus* status) override;
  void setInt16Array(const std::int16_t* elements, std::uint32_t count,
                     TarnhiveStatus* status) override;
  void setUInt16Array(const std::uint16_t* elements, std::uint32_t count,
                      TarnhiveStatus* status) override;
  void setInt32Array(const std::int32_t* elements, std::uint32_t count,
                     TarnhiveStatus* status) override;
  void setUInt32Array(const std::uint32_t* elements, std::uint32_t count,
                      TarnhiveStatus* status) override;
  void setInt64Array(const std::int64_t* elements, std::uint32_t count,
                     TarnhiveStatus* status) override;
  void setUInt64Array(const std::uint64_t* elements, std::uint32_t count,
                      TarnhiveStatus* status) override;
  void setFloat32Array(const float* elements, std::uint32_t count, TarnhiveStatus* status) override;
  void setFloat64Array(const double* elements, std::uint32_t count,
                       TarnhiveStatus* status) override;

  Digest getDigest(TarnhiveStatus* status) override;
  NarrowString getAnsiString(TarnhiveStatus* status) override;
  WideString getString(TarnhiveStatus* status) override;
  std::uint32_t getBlob(std::uint8_t* buffer, std::uint32_t bufferSize,
                        TarnhiveStatus* status) override;
  std::uint32_t getBlobSize(TarnhiveStatus* status) override;
  bool getBool(TarnhiveStatus* status) override;
  std::int8_t getInt8(TarnhiveStatus* status) override;
  std::uint8_t getUInt8(TarnhiveStatus* status) override;
  std::int16_t getInt16(TarnhiveStatus* status) override;
  std::uint16_t getUInt16(TarnhiveStatus* status) override;
  std::int32_t getInt32(TarnhiveStatus* status) override;
  std::uint32_t getUInt32(TarnhiveStatus* status) override;
  std::int64_t getInt64(TarnhiveStatus* status) override;
  std::uint64_t getUInt64(TarnhiveStatus* status) override;
  float getFloat32(TarnhiveStatus* status) override;
  double getFloat64(TarnhiveStatus* status) override;

  NarrowString getAnsiStringArrayElement(std::uint32_t index, TarnhiveStatus* status) override;
  WideString getStringArrayElement(std::uint32_t index, TarnhiveStatus* status) override;
  bool getBoolArrayElement(std::uint32_t index, TarnhiveStatus* status) override;
  std::int8_t getInt8ArrayElement(std::uint32_t index, TarnhiveStatus* status) override;
  std::uint8_t getUInt8ArrayElement(std::uint32_t index, TarnhiveStatus* status) override;
  std::int16_t getInt16ArrayElement(std::uint32_t index, TarnhiveStatus* status) override;
  std::uint16_t getUInt16ArrayElement(std::uint32_t index, TarnhiveStatus* status) override;
  std::int32_t getInt32ArrayElement(std::uint32_t index, TarnhiveStatus* status) override;
  std::uint32_t getUInt32ArrayElement(std::uint32_t index, TarnhiveStatus* status) override;
  std::int64_t getInt64ArrayElement(std::uint32_t index, TarnhiveStatus* status) override;
  std::uint64_t getUInt64ArrayElement(std::uint32_t index, TarnhiveStatus* status) override;
  float getFloat32ArrayElement(std::uint32_t index, TarnhiveStatus* status) override;
  double getFloat64ArrayElement(std::uint32_t index, TarnhiveStatus* status) override;

  std::uint32_t getAnsiStringArray(NarrowString** out, TarnhiveStatus* status) override;
  std::uint32_t getStringArray(WideString** out, TarnhiveStatus* status) override;
  std::uint32_t getBoolArray(bool** out, TarnhiveStatus* status) override;
  std::uint32_t getInt8Array(std::int8_t** out, TarnhiveStatus* status) override;
  std::uint32_t getUInt8Array(std::uint8_t** out, TarnhiveStatus* status) override;
  std::uint32_t getInt16Array(std::int16_t** out, TarnhiveStatus* status) override;
  std::uint32_t getUInt16Array(std::uint16_t** out, TarnhiveStatus* status) override;
  std::uint32_t getInt32Array(std::int32_t** out, TarnhiveStatus* status) override;
  std::uint32_t getUInt32Array(std::uint32_t** out, TarnhiveStatus* status) override;
  std::uint32_t getInt64Array(std::int64_t** out, TarnhiveStatus* status) override;
  std::uint32_t getUInt64Array(std::uint64_t** out, TarnhiveStatus* status) override;
  std::uint32_t getFloat32Array(float** out, TarnhiveStatus* status) override;
  std::uint32_t getFloat64Array(double** out, TarnhiveStatus* status) override;

  void freeAnsiStringArray(NarrowString* block, TarnhiveStatus* status) override;
  void freeStringArray(WideString* block, TarnhiveStatus* status) override;

  std::uint32_t serializationSize() override;
  void serialize(std::uint8_t*& cursor, const std::uint8_t* end) override;
  void deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) override;
  std::uint32_t getMemUsage() override;
  WideString& toString(WideString& out) override;

 private:
  // Releases every block and makes the value kNOTSET.
  void clearValue() noexcept;
  // Hands the payload of a pointer kind (or an array block) to the value.
  void adoptPointer(BucketValueType type, void* payload) noexcept;
  void adoptArray(BucketValueType type, void* block, std::uint32_t count) noexcept;
  void* pointer() const noexcept {
    void* payload;
    std::memcpy(&payload, scalar_, sizeof payload);
    return payload;
  }
  template <class T>
  T* payloadAs() const noexcept {
    return static_cast<T*>(pointer());
  }
  template <class T>
  void storeScalar(BucketValueType type, T value) noexcept {
    clearValue();
    std::memcpy(scalar_, &value, sizeof value);
    type_ = type;
  }
  template <class T>
  T loadScalar() const noexcept {
    T value;
    std::memcpy(&value, scalar_, sizeof value);
    return value;
  }
  bool storedBool() const noexcept { return scalar_[0] != 0; }

  // Runs `build`, which makes the new payload and adopts it; if it throws,
  // the code is set and the value is left kNOTSET.
  template <class Build>
  void replaceWith(TarnhiveStatus* status, Build&& build);
  template <class S>
  void setStrings(BucketValueType type, const S* elements, std::uint32_t count,
                  TarnhiveStatus* status);
  // Copies `count` elements of the kind's element size.
  void setRawArray(BucketValueType type, const void* elements, std::uint32_t count,
                   TarnhiveStatus* status);
  void copyFrom(const BucketValue& source, TarnhiveStatus* status);

  // Getter helpers (BucketValueGetters.cpp). hasKind sets kWRONGTYPE.
  bool hasKind(BucketValueType type, TarnhiveStatus* status) const noexcept;
  template <class T>
  T getScalar(BucketValueType type, TarnhiveStatus* status);
  template <class S>
  S getPayloadString(BucketValueType type, TarnhiveStatus* status);
  template <class T>
  const T* element(BucketValueType type, std::uint32_t index, TarnhiveStatus* status) const;
  template <class T>
  T getElement(BucketValueType type, std::uint32_t index, TarnhiveStatus* status);
  template <class S>
  S getStringElement(BucketValueType type, std::uint32_t index, TarnhiveStatus* status);
  template <class T>
  std::uint32_t getWholeArray(BucketValueType type, T** out, TarnhiveStatus* status);
  template <class S>
  void freeStrings(BucketValueType type, S* block, TarnhiveStatus* status);

  // Record helpers (BucketValueSerialization.cpp). recordSize is
  // serializationSize; requirePayload throws InvalidOperation for a payload
  // kind without its payload.
  std::uint32_t recordSize() const noexcept;
  void requirePayload() const;
  void writePayload(std::uint8_t*& cursor, const std::uint8_t* end) const;
  void writeNumericArray(std::uint8_t*& cursor, const std::uint8_t* end) const;
  void readPayload(const std::uint8_t*& cursor, const std::uint8_t* end);
  void readBlob(const std::uint8_t*& cursor, const std::uint8_t* end);
  void readNumericArray(const std::uint8_t*& cursor, const std::uint8_t* end);
  template <class S>
  void readString(const std::uint8_t*& cursor, const std::uint8_t* end);
  template <class S>
  void readStringArray(const std::uint8_t*& cursor, const std::uint8_t* end);

  // The text of toString (BucketValueText.cpp); throws on failure.
  WideString textForm() const;

  BucketValueType type_ = kNOTSET;
  // Kinds kBOOL..kFLOAT64: the value in its natural width at the start.
  // Kinds kDIGEST..kBLOB: the payload's address.
  alignas(8) unsigned char scalar_[8] = {};
  std::uint32_t blobLength_ = 0;
  std::uint32_t arrayCount_ = 0;
  void* arrayData_ = nullptr;
};

}  // namespace vesk::tarnhive
