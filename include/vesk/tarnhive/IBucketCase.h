// IBucketCase: a thread-safe collection of buckets, reachable by full name
// (ignoring case) and by digest, with enumerations and a byte record. The
// memory cache and the update cache of the manager are collections too. The
// slot order is part of the library's binary interface.
#pragma once

#include <cstdint>

#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive {

class Digest;
class IBucket;

class IBucketCase : public vesk::orlo::IRefCounted {
 public:
  using WideString = vesk::orlo::WideString;

  // Removes every bucket.
  virtual void clearBuckets() = 0;
  // Adds `bucket` (the collection takes its own references). A bucket of the
  // same name is replaced when `overwrite` is true, and otherwise stays, with
  // kCOLLECTIONREJECTED.
  virtual void addBucket(IBucket* bucket, const bool& overwrite, TarnhiveStatus* status) = 0;
  // The bucket (one reference for the caller) or null.
  virtual IBucket* getBucketByDigest(const Digest& digest) = 0;
  virtual IBucket* getBucketByName(const WideString& fullName) = 0;

  // Enumerations walk the buckets in name order under a handle (never 0).
  // Any add or remove invalidates them: the next step gives the warning
  // kWNOTFOUND. An unknown handle gives kNOTINCOLLECTION. Returned buckets
  // carry one reference for the caller.
  virtual std::uint32_t openEnumeration() = 0;
  virtual bool closeEnumeration(std::uint32_t handle) = 0;
  virtual IBucket* enumFirstBucket(std::uint32_t handle) = 0;
  virtual IBucket* enumNextBucket(std::uint32_t handle, TarnhiveStatus* status) = 0;

  // True when a bucket of that name was removed.
  virtual bool removeBucket(const WideString& fullName) = 0;
  virtual bool hasBucket(const WideString& fullName) = 0;
  virtual std::uint32_t getNumBuckets() = 0;

  // The byte record of the collection. These throw instead of reporting
  // through a status.
  virtual std::uint32_t serializationSize() = 0;
  virtual void serialize(std::uint8_t*& cursor, const std::uint8_t* end) = 0;
  virtual void deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) = 0;

 protected:
  ~IBucketCase() = default;
};

}  // namespace vesk::tarnhive
