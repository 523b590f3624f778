// BucketCase: the one implementation of IBucketCase, a thread-safe collection
// of buckets reachable by full name (ignoring case) and by digest. It is the
// base of the memory cache and, through it, of the update cache.
//
// Invariants:
//  - every bucket is in both maps, under its full name and under its digest,
//    and each map holds its own reference to it;
//  - each by-name entry records the bucket's memory use and time stamp taken
//    when the entry was made;
//  - every change of the maps invalidates all open enumerations.
//
// A null bucket handed to addBucket is refused with kNULLARGUMENT.
//
// Thread-safety: every operation holds the collection's re-entrant lock for
// its whole duration. The collection calls into the buckets it holds (their
// getters, memory estimate and records) under that lock, so the lock order is
// always collection, then bucket; it never calls into another collection
// while holding it. The one exception is the update cache's commit, which
// holds its own lock while it updates the memory cache (update cache before
// memory cache).
#pragma once

#include <cstdint>
#include <map>

#include "bucket/EnumerationCursors.h"
#include "bucket/TarnhiveAtomicInt.h"
#include "bucket/BucketMaps.h"
#include "status/StatusGuard.h"
#include "vesk/orlo/DLLAlloced.h"
#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/osdep/CriticalSection.h"
#include "vesk/tarnhive/Digest.h"
#include "vesk/tarnhive/IBucketCase.h"

namespace vesk::tarnhive {

class BucketCase
    : public orlo::RefCountedImplementation<IBucketCase, orlo::RefCountedThreadSafePolicy>,
      public orlo::DLLAlloced {
 public:
  BucketCase() = default;
  ~BucketCase() override = default;
  BucketCase(const BucketCase&) = delete;
  BucketCase& operator=(const BucketCase&) = delete;

  void clearBuckets() override;
  void addBucket(IBucket* bucket, const bool& overwrite, TarnhiveStatus* status) override;
  IBucket* getBucketByDigest(const Digest& digest) override;
  IBucket* getBucketByName(const WideString& fullName) override;

  std::uint32_t openEnumeration() override;
  bool closeEnumeration(std::uint32_t handle) override;
  IBucket* enumFirstBucket(std::uint32_t handle) override;
  IBucket* enumNextBucket(std::uint32_t handle, TarnhiveStatus* status) override;

  bool removeBucket(const WideString& fullName) override;
  bool hasBucket(const WideString& fullName) override;
  std::uint32_t getNumBuckets() override;

  // The record: u32 format (written as 1, ignored when read), u32 count,
  // then the bucket records in name order. deserialize replaces the whole
  // collection; of two records with the same name the first stays.
  std::uint32_t serializationSize() override;
  void serialize(std::uint8_t*& cursor, const std::uint8_t* end) override;
  void deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) override;

  // The memory estimate of any bucket: Bucket's own, or for a bucket of
  // another implementation its record size plus a bucket's fixed share.
  static std::uint32_t memUsageOf(IBucket& bucket);

 protected:
  enum class AddResult { kInserted, kReplaced, kRejected, kFailed };

  // Adds `bucket` with the recorded use `memUsage`, or replaces the entry of
  // its name when `overwrite` is true (`replacedUse` then receives the old
  // entry's use). Sets kCOLLECTIONREJECTED for kRejected and the failure's
  // code for kFailed; a failed add leaves both maps as they were.
  // REQUIRES: lock_ is held.
  AddResult insertOrReplace(IBucket& bucket, std::uint32_t memUsage, bool overwrite,
                            TarnhiveStatus* status, std::uint32_t& replacedUse);
  // Removes the entry of `fullName` from both maps; false when there is
  // none. `removedUse` receives its recorded use.
  // REQUIRES: lock_ is held.
  bool removeEntry(const WideString& fullName, std::uint32_t& removedUse);
  // The sum of the recorded uses, in wrapping 32-bit arithmetic.
  // REQUIRES: lock_ is held.
  std::uint32_t recordedUse() const noexcept;

  // Told of every by-name entry made, replaced or removed, under lock_, so
  // that a derived collection can keep an index of its own. entryAdded may
  // throw, and the entry is then not made; the other two must not.
  virtual void entryAdded(BucketsByName::iterator /*entry*/) {}
  virtual void entryReplaced(BucketsByName::iterator /*entry*/,
                             const AbsoluteTime& /*oldStamp*/) noexcept {}
  virtual void entryRemoving(BucketsByName::iterator /*entry*/) noexcept {}

  // The frame that every addBucket shares: nothing on a negative status,
  // kNULLARGUMENT for a null bucket, the bucket's memory use taken before the
  // lock, then `add(memUsage)` under the lock with exceptions turned into
  // codes.
  template <class Add>
  void addUnderLock(IBucket* bucket, TarnhiveStatus* status, Add&& add) {
    if (failed(status)) return;
    if (bucket == nullptr) {
      setStatus(status, kNULLARGUMENT);
      return;
    }
    guardedRun(status, [&] {
      const std::uint32_t memUsage = memUsageOf(*bucket);
      orlo::osdep::CriticalSectionLock hold(lock_);
      add(memUsage);
    });
  }

  orlo::osdep::CriticalSection lock_;
  BucketsByName byName_;
  std::map<Digest, orlo::RefPtr<IBucket>> byDigest_;

 private:
  // Reads one bucket record and adds it unless its name or digest is held.
  void readBucket(const std::uint8_t*& cursor, const std::uint8_t* end);
  // Makes the entries of a bucket not held yet in both maps, or in neither
  // when that fails.
  void insertEntry(const WideString& name, const Digest& digest, const orlo::RefPtr<IBucket>& held,
                   std::uint32_t memUsage);

  TarnhiveAtomicInt nextHandle_{1};
  EnumerationCursors<BucketsByName::iterator> cursors_;
};

}  // namespace vesk::tarnhive
