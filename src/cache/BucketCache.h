// BucketCache: the manager's memory cache, a bucket collection with a byte
// budget. It keeps the running sum of the recorded memory use of its buckets
// and, when that sum exceeds the budget while 21 or more buckets are held,
// runs an eviction pass that drops the most recently changed buckets (never
// the root) until a quarter of the budget has been freed (EvictionOrder.h).
// The buckets are kept ranked by their time stamps as they are added, so a
// pass costs O(log n) for each bucket it drops. A bucket's stamp is taken
// when it is added: the manager never changes a bucket the cache holds.
// Changed buckets that are not yet committed are also held by the update
// cache, so dropping them here loses nothing.
//
// The amount a pass frees is (limit * 25) / 100 in 32-bit arithmetic, the
// product first, so it wraps for limits from 171,798,692 bytes on; a budget
// of 0 makes every pass drop exactly one bucket. Small caches never evict,
// however large their buckets.
//
// Thread-safety: as BucketCase; an eviction pass runs inside the lock hold of
// the operation that triggered it.
#pragma once

#include <cstdint>

#include "cache/BucketCase.h"
#include "cache/EvictionOrder.h"

namespace vesk::tarnhive {

class BucketCache : public BucketCase {
 public:
  // Buckets held before a pass may run: a pass needs more than this many.
  static constexpr std::uint32_t kEvictionFloor = 20;

  explicit BucketCache(std::uint32_t sizeLimit) : BucketCache(sizeLimit, true) {}

  // Also sets the usage to 0.
  void clearBuckets() override;
  // Does nothing when the record holds an error. Keeps the usage and may
  // evict (not after a rejected add).
  void addBucket(IBucket* bucket, const bool& overwrite, TarnhiveStatus* status) override;
  // Subtracts the removed entry's recorded use from the usage.
  bool removeBucket(const WideString& fullName) override;
  // Recomputes the usage (also after a failed read) and may evict.
  void deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) override;

  std::uint32_t getSizeLimit() const noexcept { return sizeLimit_; }
  std::uint32_t getEvictionAmount() const noexcept { return evictionAmount_; }
  std::uint32_t getUsage();

 protected:
  // A cache that never runs a pass (`evicts` false) ranks nothing.
  BucketCache(std::uint32_t sizeLimit, bool evicts);

  void entryAdded(BucketsByName::iterator entry) override;
  void entryReplaced(BucketsByName::iterator entry, const AbsoluteTime& oldStamp) noexcept override;
  void entryRemoving(BucketsByName::iterator entry) noexcept override;

  // addBucket without the status check and the eviction check. True when
  // the bucket was added or replaced one.
  // REQUIRES: lock_ is held.
  bool addCounted(IBucket& bucket, std::uint32_t memUsage, bool overwrite, TarnhiveStatus* status);
  // REQUIRES: lock_ is held.
  void recountUsage() noexcept { usage_ = recordedUse(); }

 private:
  // Runs a pass when the usage exceeds the limit and enough buckets are held.
  // REQUIRES: lock_ is held.
  void evictIfNeeded();
  void evict();

  // Removes the entry of `name` (a copy: the entry owns the key) and adds
  // its recorded use to `freed`.
  void drop(WideString name, std::uint32_t& freed);

  const std::uint32_t sizeLimit_;
  std::uint32_t usage_ = 0;
  const std::uint32_t evictionAmount_;
  const bool evicts_;
  // Every held bucket but the root, when evicts_.
  EvictionIndex ranked_;
};

}  // namespace vesk::tarnhive
