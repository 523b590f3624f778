// IBucketValue: one typed value, as a client holds it. A value has exactly one
// kind at a time (BucketValueType.h) and typing is strict: every getter reads
// only the kind it names, with no conversion between kinds, widths or
// signedness. Setting a value of any kind replaces whatever it held.
//
// The order of the operations below is the value's binary interface and never
// changes; the interface has no virtual destructor because a destructor slot
// would shift that order. Values are reference-counted (addRef / release) and
// destroyed by their last release.
//
// Status rules (TarnhiveStatus.h):
//  - Getters (getDigest .. getFloat64Array) and the two string-array frees do
//    nothing and return zero, false, an empty string or the digest of the
//    empty name when the record already holds an error. Otherwise a getter on
//    a value of another kind sets kWRONGTYPE and returns that zero result.
//  - Setters always run, whatever the record holds. They set kOUTOFMEMORY when
//    the data cannot be copied; the value is then kNOTSET. A null data pointer
//    with a non-zero count sets kNULLARGUMENT and leaves the value as it was.
//  - Nothing else reports or fails, except serialize and deserialize (below).
//
// Thread-safety: a value has no lock of its own; callers sharing one value
// between threads serialise their calls. Only the count is atomic.
#pragma once

#include <cstdint>

#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/BucketValueType.h"
#include "vesk/tarnhive/Digest.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive {

class IBucketValue : public vesk::orlo::IRefCounted {
 public:
  using NarrowString = vesk::orlo::NarrowString;
  using WideString = vesk::orlo::WideString;

  // The kind held now; codes beyond kFLOAT64ARRAY read from a record are
  // returned as they are.
  virtual BucketValueType getType() = 0;
  // The element count of an array kind; 0 for every other kind.
  virtual std::uint32_t getArraySize() = 0;
  // Compares a and b (this value takes no part): both null are equal, one null
  // is not; otherwise they are equal when they have the same kind and content.
  // Strings compare exactly; floats compare as numbers, so +0 equals -0 and
  // NaN equals nothing; bools compare their stored bytes.
  virtual bool isEqual(IBucketValue* const& a, IBucketValue* const& b) = 0;

  // Setters. Each copies its argument into blocks of the task allocator.
  virtual void setDigest(const Digest& value, TarnhiveStatus* status) = 0;
  virtual void setAnsiString(const NarrowString& value, TarnhiveStatus* status) = 0;
  virtual void setString(const WideString& value, TarnhiveStatus* status) = 0;
  // Copies `length` bytes at data (data may be null when length is 0).
  virtual void setBlob(const std::uint8_t* data, std::uint32_t length, TarnhiveStatus* status) = 0;
  // Keeps the byte as given: any non-zero byte reads as true.
  virtual void setBool(bool value, TarnhiveStatus* status) = 0;
  virtual void setInt8(std::int8_t value, TarnhiveStatus* status) = 0;
  virtual void setUInt8(std::uint8_t value, TarnhiveStatus* status) = 0;
  virtual void setInt16(std::int16_t value, TarnhiveStatus* status) = 0;
  virtual void setUInt16(std::uint16_t value, TarnhiveStatus* status) = 0;
  virtual void setInt32(std::int32_t value, TarnhiveStatus* status) = 0;
  virtual void setUInt32(std::uint32_t value, TarnhiveStatus* status) = 0;
  virtual void setInt64(std::int64_t value, TarnhiveStatus* status) = 0;
  virtual void setUInt64(std::uint64_t value, TarnhiveStatus* status) = 0;
  virtual void setFloat32(float value, TarnhiveStatus* status) = 0;
  virtual void setFloat64(double value, TarnhiveStatus* status) = 0;
  // Array setters copy `count` elements (elements may be null when count is
  // 0; an array of no elements is a valid value).
  virtual void setAnsiStringArray(const NarrowString* elements, std::uint32_t count,
                                  TarnhiveStatus* status) = 0;
  virtual void setStringArray(const WideString* elements, std::uint32_t count,
                              TarnhiveStatus* status) = 0;
  virtual void setBoolArray(const bool* elements, std::uint32_t count, TarnhiveStatus* status) = 0;
  virtual void setInt8Array(const std::int8_t* elements, std::uint32_t count,
                            TarnhiveStatus* status) = 0;
  virtual void setUInt8Array(const std::uint8_t* elements, std::uint32_t count,
                             TarnhiveStatus* status) = 0;
  virtual void setInt16Array(const std::int16_t* elements, std::uint32_t count,
                             TarnhiveStatus* status) = 0;
  virtual void setUInt16Array(const std::uint16_t* elements, std::uint32_t count,
                              TarnhiveStatus* status) = 0;
  virtual void setInt32Array(const std::int32_t* elements, std::uint32_t count,
                             TarnhiveStatus* status) = 0;
  virtual void setUInt32Array(const std::uint32_t* elements, std::uint32_t count,
                              TarnhiveStatus* status) = 0;
  virtual void setInt64Array(const std::int64_t* elements, std::uint32_t count,
                             TarnhiveStatus* status) = 0;
  virtual void setUInt64Array(const std::uint64_t* elements, std::uint32_t count,
                              TarnhiveStatus* status) = 0;
  virtual void setFloat32Array(const float* elements, std::uint32_t count,
                               TarnhiveStatus* status) = 0;
  virtual void setFloat64Array(const double* elements, std::uint32_t count,
                               TarnhiveStatus* status) = 0;

  // Getters of single values. The three payload getters set kNODATA when the
  // value has its kind but no payload (a record that failed to read).
  virtual Digest getDigest(TarnhiveStatus* status) = 0;
  virtual NarrowString getAnsiString(TarnhiveStatus* status) = 0;
  virtual WideString getString(TarnhiveStatus* status) = 0;
  // Returns the blob's byte count n. Copies the bytes into buffer when
  // bufferSize >= n; a bufferSize of 0 only asks for n and sets nothing; a
  // smaller non-zero size sets kBUFFERTOOSMALL and copies nothing. A blob
  // without data sets kNODATA and returns 0; a null buffer with a non-zero
  // size sets kNULLARGUMENT.
  virtual std::uint32_t getBlob(std::uint8_t* buffer, std::uint32_t bufferSize,
                                TarnhiveStatus* status) = 0;
  virtual std::uint32_t getBlobSize(TarnhiveStatus* status) = 0;
  virtual bool getBool(TarnhiveStatus* status) = 0;
  virtual std::int8_t getInt8(TarnhiveStatus* status) = 0;
  virtual std::uint8_t getUInt8(TarnhiveStatus* status) = 0;
  virtual std::int16_t getInt16(TarnhiveStatus* status) = 0;
  virtual std::uint16_t getUInt16(TarnhiveStatus* status) = 0;
  virtual std::int32_t getInt32(TarnhiveStatus* status) = 0;
  virtual std::uint32_t getUInt32(TarnhiveStatus* status) = 0;
  virtual std::int64_t getInt64(TarnhiveStatus* status) = 0;
  virtual std::uint64_t getUInt64(TarnhiveStatus* status) = 0;
  virtual float getFloat32(TarnhiveStatus* status) = 0;
  virtual double getFloat64(TarnhiveStatus* status) = 0;

  // Element getters: an index not below getArraySize() sets kINDEXOUTOFRANGE.
  virtual NarrowString getAnsiStringArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;
  virtual WideString getStringArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;
  virtual bool getBoolArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;
  virtual std::int8_t getInt8ArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;
  virtual std::uint8_t getUInt8ArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;
  virtual std::int16_t getInt16ArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;
  virtual std::uint16_t getUInt16ArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;
  virtual std::int32_t getInt32ArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getUInt32ArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;
  virtual std::int64_t getInt64ArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;
  virtual std::uint64_t getUInt64ArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;
  virtual float getFloat32ArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;
  virtual double getFloat64ArrayElement(std::uint32_t index, TarnhiveStatus* status) = 0;

  // Whole-array getters: store a new block holding a copy of every element in
  // *out and return the count. The caller owns the block: numeric blocks are
  // freed with the task allocator (vesk::orlo::osdep::taskFree), string blocks
  // with freeAnsiStringArray / freeStringArray of this same value. A null out
  // sets kNULLARGUMENT; an empty array sets kNODATA (it cannot be fetched
  // whole); a failed copy sets kOUTOFMEMORY. On every failure after the entry
  // check *out is set to null and 0 is returned.
  virtual std::uint32_t getAnsiStringArray(NarrowString** out, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getStringArray(WideString** out, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getBoolArray(bool** out, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getInt8Array(std::int8_t** out, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getUInt8Array(std::uint8_t** out, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getInt16Array(std::int16_t** out, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getUInt16Array(std::uint16_t** out, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getInt32Array(std::int32_t** out, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getUInt32Array(std::uint32_t** out, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getInt64Array(std::int64_t** out, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getUInt64Array(std::uint64_t** out, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getFloat32Array(float** out, TarnhiveStatus* status) = 0;
  virtual std::uint32_t getFloat64Array(double** out, TarnhiveStatus* status) = 0;

  // Destroy and free a block from getAnsiStringArray / getStringArray. The
  // number of strings destroyed is this value's current element count, so the
  // block must be freed through the same value, unchanged since it produced
  // the block. On a value of another kind they set kWRONGTYPE and free
  // nothing. A null block is ignored.
  virtual void freeAnsiStringArray(NarrowString* block, TarnhiveStatus* status) = 0;
  virtual void freeStringArray(WideString* block, TarnhiveStatus* status) = 0;

  // The value's byte record: u32 1, u32 kind, then the payload, little-endian
  // and unaligned. serializationSize is the exact number of bytes serialize
  // writes (saturating at 2^32 - 1).
  virtual std::uint32_t serializationSize() = 0;
  // Writes the record at cursor and advances cursor past it. These two are
  // the library's own record hooks and, unlike every other operation, throw:
  // BufferOverflow when the record does not fit (checked before anything is
  // written), InvalidOperation for a value that lost its payload in a failed
  // read.
  virtual void serialize(std::uint8_t*& cursor, const std::uint8_t* end) = 0;
  // Replaces the value with the record at cursor and advances cursor past it.
  // Throws DeserializationError for a short or malformed record, and
  // InvalidSequence for bad UTF-8 in a single wide string; a failed read
  // leaves cursor where it was and the value with what was read so far (its
  // kind may be set while its payload is missing). A blob whose bytes cannot
  // be allocated stops the read quietly after its count: the value is a blob
  // without data, and the bytes are left unread.
  virtual void deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) = 0;
  // Estimate of the memory the value takes, for the memory cache's budget.
  virtual std::uint32_t getMemUsage() = 0;
  // Replaces `out` with the value's one-line text, as bucket dumps print it,
  // and returns it. Array contents are not printed, only kind and count.
  // When the text cannot be made (memory exhausted) `out` is left empty.
  virtual WideString& toString(WideString& out) = 0;

 protected:
  ~IBucketValue() = default;
};

}  // namespace vesk::tarnhive
