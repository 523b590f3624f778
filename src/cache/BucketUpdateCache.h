// BucketUpdateCache: what has changed since the last commit. It holds the
// buckets created or changed (a cache that never evicts) and the full names
// of the buckets deleted, and hands both to the store at commit.
//
// Invariant: after an addBucket of a name, that name is not in the removed
// set; removeBucket records a name whether or not a bucket of that name is
// held, so deleting a bucket that was never committed still asks the store
// to delete it.
//
// Thread-safety: as BucketCase. applyTo holds this cache's lock while it
// updates the target collection and the store: the lock order is update
// cache, then memory cache or store, then bucket.
#pragma once

#include <cstdint>
#include <functional>

#include "cache/BucketCache.h"
#include "bucket/BucketMaps.h"

namespace vesk::tarnhive {

class BucketUpdateCache : public BucketCache {
 public:
  // Where a commit's changes go: the persistent store's commit.
  using CommitStep =
      std::function<void(const BucketsByName& written, const NameSet& deleted, TarnhiveStatus*)>;

  // The limit is kept and its usage counted for the manager to read; this
  // cache never evicts.
  explicit BucketUpdateCache(std::uint32_t sizeLimit) : BucketCache(sizeLimit, false) {}

  // Also empties the removed set.
  void clearBuckets() override;
  // Takes the bucket's name out of the removed set, then adds as the memory
  // cache does, without eviction.
  void addBucket(IBucket* bucket, const bool& overwrite, TarnhiveStatus* status) override;
  // Records the name as removed, then removes the bucket if one is held.
  bool removeBucket(const WideString& fullName) override;
  // Reads the collection and recounts the usage; no eviction.
  void deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) override;

  // The commit step. Removes every removed name from `target` (in name
  // order), adds every held bucket to it with overwrite (in name order),
  // hands the held buckets and the removed names to `commit`, and
  // empties this cache, whatever the target and the store reported. A code
  // left negative by the target does not stop the later steps; the store
  // decides what to do with it. Does nothing when the record already holds
  // an error.
  void applyTo(IBucketCase& target, const CommitStep& commit, TarnhiveStatus* status);

  // A copy of the removed set.
  NameSet getRemovedNames();
  // True when `fullName` is in the removed set.
  bool isRemoved(const WideString& fullName);

 private:
  NameSet removed_;
};

}  // namespace vesk::tarnhive
