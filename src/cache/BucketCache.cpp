// BucketCache: usage accounting and the eviction pass.
#include "cache/BucketCache.h"

#include "bucket/BucketClock.h"
#include "bucket/BucketNames.h"
#include "status/StatusGuard.h"

namespace vesk::tarnhive {

using orlo::WideString;
using orlo::osdep::CriticalSectionLock;

BucketCache::BucketCache(std::uint32_t sizeLimit, bool evicts)
    : sizeLimit_(sizeLimit), evictionAmount_(sizeLimit * 25u / 100u), evicts_(evicts) {}

std::uint32_t BucketCache::getUsage() {
  CriticalSectionLock hold(lock_);
  return usage_;
}

void BucketCache::clearBuckets() {
  CriticalSectionLock hold(lock_);
  BucketCase::clearBuckets();
  ranked_.clear();
  usage_ = 0;
}

void BucketCache::entryAdded(BucketsByName::iterator entry) {
  if (evicts_ && !isRootName(entry->first)) ranked_.insert(entry);
}

void BucketCache::entryReplaced(BucketsByName::iterator entry,
                                const AbsoluteTime& oldStamp) noexcept {
  ranked_.restamp(entry, oldStamp);
}

void BucketCache::entryRemoving(BucketsByName::iterator entry) noexcept {
  ranked_.erase(entry, entry->second.stamp);
}

bool BucketCache::addCounted(IBucket& bucket, std::uint32_t memUsage, bool overwrite,
                             TarnhiveStatus* status) {
  std::uint32_t replacedUse = 0;
  switch (insertOrReplace(bucket, memUsage, overwrite, status, replacedUse)) {
    case AddResult::kInserted:
      usage_ += memUsage;
      return true;
    case AddResult::kReplaced:
      usage_ += memUsage - replacedUse;
      return true;
    default:
      return false;
  }
}

void BucketCache::addBucket(IBucket* bucket, const bool& overwrite, TarnhiveStatus* status) {
  addUnderLock(bucket, status, [&](std::uint32_t memUsage) {
    if (addCounted(*bucket, memUsage, overwrite, status)) evictIfNeeded();
  });
}

bool BucketCache::removeBucket(const WideString& fullName) {
  return guardedCall(nullptr, false, [&] {
    CriticalSectionLock hold(lock_);
    std::uint32_t removedUse = 0;
    if (!removeEntry(fullName, removedUse)) return false;
    usage_ -= removedUse;
    return true;
  });
}

void BucketCache::deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) {
  CriticalSectionLock hold(lock_);
  try {
    BucketCase::deserialize(cursor, end);
  } catch (...) {
    recountUsage();  // the buckets read before the failure stay
    throw;
  }
  recountUsage();
  evictIfNeeded();
}

void BucketCache::evictIfNeeded() {
  if (usage_ > sizeLimit_ && byName_.size() > kEvictionFloor) evict();
}

// Drops buckets in eviction order until at least the eviction amount is
// freed. Every caller has just invalidated the cursors. Dropping the first
// bucket leaves the others in the same order, so each step asks the index
// for the first again.
void BucketCache::evict() {
  const AbsoluteTime now = clock::now();
  std::uint32_t freed = 0;
  if (ranked_.ranks(now)) {
    while (ranked_.size() != 0) {
      drop((*ranked_.first(now))->first, freed);
      if (freed >= evictionAmount_) return;
    }
    return;
  }
  // Stamps too far from now for the index: one sort of every bucket.
  for (const auto entry : evictionOrder(byName_, now)) {
    drop(entry->first, freed);
    if (freed >= evictionAmount_) return;
  }
}

void BucketCache::drop(WideString name, std::uint32_t& freed) {
  std::uint32_t removedUse = 0;
  removeEntry(name, removedUse);
  usage_ -= removedUse;
  freed += removedUse;
}

}  // namespace vesk::tarnhive
