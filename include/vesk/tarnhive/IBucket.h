// IBucket: one node of the registry tree. A bucket has a "/"-separated full
// name, knows its own digest and its parent's, and owns named, typed values.
// Links to child buckets are values of type kDIGEST named by the child's full
// name. Value names compare ignoring case ("Key" and "key" are one value).
//
// Every bucket has its own lock, so one bucket may be used from several
// threads. The slot order is part of the library's binary interface.
//
// Setters (slots 7-35) store a copy of their argument under `name`. They
// return true when they stored it. An equal value already stored leaves
// everything as it was and returns false without a code. A different value
// is replaced when `overwrite` is true (warning kWVALUEREPLACED) and refused
// with kVALUEEXISTS when it is false. An empty name gives kEMPTYVALUENAME, an
// allocation failure kOUTOFMEMORY. Every change marks the bucket modified,
// stamps it with the current time and invalidates its open enumerations.
#pragma once

#include <cstdint>

#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/AbsoluteTime.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive {

class Digest;
class IBucketValue;

class IBucket : public vesk::orlo::IRefCounted {
 public:
  using WideString = vesk::orlo::WideString;
  using NarrowString = vesk::orlo::NarrowString;

  // a->isEqual(b).
  virtual bool equalBuckets(IBucket* a, IBucket* b) = 0;
  // Copies the values of `source`, which must have the same full name
  // (ignoring case; otherwise false and no code). Mode 1 clears this bucket
  // first and overwrites, 2 overwrites, 3 keeps existing values; any other
  // mode gives kBADVALUEKIND. True when any value was stored; the version
  // then becomes the source's.
  virtual bool mergeFrom(IBucket* source, std::uint32_t mode, TarnhiveStatus* status) = 0;

  // The byte record of the bucket: its size, and writing and reading it.
  // These throw (BufferOverflow, DeserializationError, InvalidSequence)
  // instead of reporting through a status; the store catches them.
  virtual std::uint32_t serializationSize() = 0;
  virtual void serialize(std::uint8_t*& cursor, const std::uint8_t* end) = 0;
  virtual void deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) = 0;

  virtual bool setFloat64Array(const WideString& name, const double* elements,
                               std::uint32_t count, TarnhiveStatus* status, bool overwrite) = 0;
  virtual bool setFloat32Array(const WideString& name, const float* elements, std::uint32_t count,
                               TarnhiveStatus* status, bool overwrite) = 0;
  virtual bool setUInt64Array(const WideString& name, const std::uint64_t* elements,
                              std::uint32_t count, TarnhiveStatus* status, bool overwrite) = 0;
  virtual bool setInt64Array(const WideString& name, const std::int64_t* elements,
                             std::uint32_t count, TarnhiveStatus* status, bool overwrite) = 0;
  virtual bool setUInt32Array(const WideString& name, const std::uint32_t* elements,
                              std::uint32_t count, TarnhiveStatus* status, bool overwrite) = 0;
  virtual bool setInt32Array(const WideString& name, const std::int32_t* elements,
                             std::uint32_t count, TarnhiveStatus* status, bool overwrite) = 0;
  virtual bool setUInt16Array(const WideString& name, const std::uint16_t* elements,
                              std::uint32_t count, TarnhiveStatus* status, bool overwrite) = 0;
  virtual bool setInt16Array(const WideString& name, const std::int16_t* elements,
                             std::uint32_t count, TarnhiveStatus* status, bool overwrite) = 0;
  virtual bool setUInt8Array(const WideString& name, const std::uint8_t* elements,
                             std::uint32_t count, TarnhiveStatus* status, bool overwrite) = 0;
  virtual bool setInt8Array(const WideString& name, const std::int8_t* elements,
                            std::uint32_t count, TarnhiveStatus* status, bool overwrite) = 0;
  virtual bool setBoolArray(const WideString& name, const bool* elements, std::uint32_t count,
                            TarnhiveStatus* status, bool overwrite) = 0;
  virtual bool setStringArray(const WideString& name, const WideString* elements,
                              std::uint32_t count, TarnhiveStatus* status, bool overwrite) = 0;
  virtual bool setAnsiStringArray(const WideString& name, const NarrowString* elements,
                                  std::uint32_t count, TarnhiveStatus* status,
                                  bool overwrite) = 0;
  virtual bool setFloat64(const WideString& name, double value, TarnhiveStatus* status,
                          bool overwrite) = 0;
  virtual bool setFloat32(const WideString& name, float value, TarnhiveStatus* status,
                          bool overwrite) = 0;
  virtual bool setUInt64(const WideString& name, std::uint64_t value, TarnhiveStatus* status,
                         bool overwrite) = 0;
  virtual bool setInt64(const WideString& name, std::int64_t value, TarnhiveStatus* status,
                        bool overwrite) = 0;
  virtual bool setUInt32(const WideString& name, std::uint32_t value, TarnhiveStatus* status,
                         bool overwrite) = 0;
  virtual bool setInt32(const WideString& name, std::int32_t value, TarnhiveStatus* status,
                        bool overwrite) = 0;
  virtual bool setUInt16(const WideString& name, std::uint16_t value, TarnhiveStatus* status,
                         bool overwrite) = 0;
  virtual bool setInt16(const WideString& name, std::int16_t value, TarnhiveStatus* status,
                        bool overwrite) = 0;
  virtual bool setUInt8(const WideString& name, std::uint8_t value, TarnhiveStatus* status,
                        bool overwrite) = 0;
  virtual bool setInt8(const WideString& name, std::int8_t value, TarnhiveStatus* status,
                       bool overwrite) = 0;
  virtual bool setBool(const WideString& name, bool value, TarnhiveStatus* status,
                       bool overwrite) = 0;
  virtual bool setString(const WideString& name, const WideString& value, TarnhiveStatus* status,
                         bool overwrite) = 0;
  virtual bool setAnsiString(const WideString& name, const NarrowString& value,
                             TarnhiveStatus* status, bool overwrite) = 0;
  // A child link: a kDIGEST value.
  virtual bool setDigest(const WideString& name, const Digest& value, TarnhiveStatus* status,
                         bool overwrite) = 0;
  // Stores a copy of `value` (kNULLVALUE for null, kWRONGTYPE for an unset
  // value).
  virtual bool setValue(const WideString& name, IBucketValue* value, TarnhiveStatus* status,
                        bool overwrite) = 0;
  virtual bool setBlob(const WideString& name, const std::uint8_t* bytes, std::uint32_t count,
                       TarnhiveStatus* status, bool overwrite) = 0;

  // True when a value of that name was removed.
  virtual bool removeValue(const WideString& name) = 0;
  virtual bool hasValue(const WideString& name) = 0;
  // Removes every value, child links included.
  virtual void clearValues() = 0;
  // Removes every value that is not a child link.
  virtual void clearDataValues() = 0;
  // Links the child `childShortName` (its full name is this bucket's name
  // and the short name joined by "/").
  virtual bool addChildLink(const WideString& childShortName, TarnhiveStatus* status,
                            bool overwrite) = 0;
  // A new copy of the value (one reference for the caller), or null.
  virtual IBucketValue* getValue(const WideString& name, TarnhiveStatus* status) = 0;

  virtual WideString getFullName() = 0;
  virtual WideString getShortName() = 0;
  virtual Digest getDigest() = 0;
  virtual Digest getParentDigest() = 0;
  // The digest's hexadecimal text followed by ".bucket".
  virtual WideString getFileName() = 0;
  virtual bool getPersistentFlag() = 0;
  virtual std::uint32_t getNumValues() = 0;
  virtual std::uint32_t getVersion() = 0;
  virtual bool isModified() = 0;
  virtual AbsoluteTime getTimestamp() = 0;

  // Enumerations walk the values in name order under a handle (never 0).
  // Any change to the bucket invalidates every open enumeration: the next
  // step then gives the warning kWNOTFOUND and ends it. An unknown handle
  // gives kNOTINCOLLECTION. `value` receives a new copy (one reference);
  // whatever it held before is released.
  virtual std::uint32_t openEnumeration() = 0;
  virtual bool closeEnumeration(std::uint32_t handle) = 0;
  virtual bool enumFirstValue(WideString& name, IBucketValue*& value, std::uint32_t handle,
                              TarnhiveStatus* status) = 0;
  virtual bool enumNextValue(WideString& name, IBucketValue*& value, std::uint32_t handle,
                             TarnhiveStatus* status) = 0;
  // The same over child links only, yielding each child's digest.
  virtual bool enumFirstChild(Digest& child, std::uint32_t handle) = 0;
  virtual bool enumNextChild(Digest& child, std::uint32_t handle, TarnhiveStatus* status) = 0;

  // Prints the bucket to standard output.
  virtual void dump() = 0;
  // Same full name and equal values under the same names.
  virtual bool isEqual(IBucket* other) = 0;

 protected:
  ~IBucket() = default;
};

}  // namespace vesk::tarnhive
