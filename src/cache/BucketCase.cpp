// BucketCase: adding, finding, removing and enumerating buckets.
#include "cache/BucketCase.h"

#include "bucket/Bucket.h"
#include "status/StatusGuard.h"
#include "vesk/orlo/Serial.h"

namespace vesk::tarnhive {

using orlo::RefPtr;
using orlo::WideString;
using orlo::osdep::CriticalSectionLock;

namespace {

constexpr auto kEveryBucket = [](auto) { return true; };
// What a bucket costs beyond its record when it is not a Bucket.
constexpr std::uint32_t kForeignBucketShare = 296;

// A new reference for the caller, or null.
IBucket* handOut(const RefPtr<IBucket>& bucket) noexcept {
  if (bucket) bucket->addRef();
  return bucket.get();
}

}  // namespace

std::uint32_t BucketCase::memUsageOf(IBucket& bucket) {
  if (auto* own = dynamic_cast<Bucket*>(&bucket)) return own->getMemUsage();
  return orlo::serial::saturatingAdd(bucket.serializationSize(), kForeignBucketShare);
}

BucketCase::AddResult BucketCase::insertOrReplace(IBucket& bucket, std::uint32_t memUsage,
                                                  bool overwrite, TarnhiveStatus* status,
                                                  std::uint32_t& replacedUse) {
  AddResult result = AddResult::kFailed;
  unconditionalRun(status, [&] {
    const WideString name = bucket.getFullName();
    const Digest digest = bucket.getDigest();
    const RefPtr<IBucket> held(&bucket);
    const auto named = byName_.find(name);
    if (named != byName_.end()) {
      if (!overwrite) {
        setStatus(status, kCOLLECTIONREJECTED);
        result = AddResult::kRejected;
        return;
      }
      RefPtr<IBucket>& digestSlot = byDigest_[digest];
      replacedUse = named->second.memUsage;
      const AbsoluteTime oldStamp = named->second.stamp;
      named->second = NamedBucket{held, memUsage, bucket.getTimestamp()};
      digestSlot = held;
      entryReplaced(named, oldStamp);
      result = AddResult::kReplaced;
    } else {
      insertEntry(name, digest, held, memUsage);
      result = AddResult::kInserted;
    }
    cursors_.invalidateAll();
  });
  return result;
}

void BucketCase::insertEntry(const WideString& name, const Digest& digest,
                             const RefPtr<IBucket>& held, std::uint32_t memUsage) {
  const auto added = byName_.emplace(name, NamedBucket{held, memUsage, held->getTimestamp()}).first;
  try {
    entryAdded(added);
    byDigest_.insert_or_assign(digest, held);
  } catch (...) {
    entryRemoving(added);  // both maps and the index, or none
    byName_.erase(added);
    throw;
  }
}

bool BucketCase::removeEntry(const WideString& fullName, std::uint32_t& removedUse) {
  const auto named = byName_.find(fullName);
  if (named == byName_.end()) return false;
  // The bucket may be destroyed by the last release only once both maps
  // are consistent again.
  const RefPtr<IBucket> held = named->second.bucket;
  removedUse = named->second.memUsage;
  entryRemoving(named);
  byName_.erase(named);
  byDigest_.erase(Digest(fullName));
  cursors_.invalidateAll();
  return true;
}

std::uint32_t BucketCase::recordedUse() const noexcept {
  std::uint32_t sum = 0;
  for (const auto& entry : byName_) sum += entry.second.memUsage;
  return sum;
}

void BucketCase::clearBuckets() {
  CriticalSectionLock hold(lock_);
  cursors_.invalidateAll();
  byName_.clear();
  byDigest_.clear();
}

void BucketCase::addBucket(IBucket* bucket, const bool& overwrite, TarnhiveStatus* status) {
  addUnderLock(bucket, status, [&](std::uint32_t memUsage) {
    std::uint32_t replacedUse = 0;
    insertOrReplace(*bucket, memUsage, overwrite, status, replacedUse);
  });
}

IBucket* BucketCase::getBucketByDigest(const Digest& digest) {
  CriticalSectionLock hold(lock_);
  const auto found = byDigest_.find(digest);
  return found == byDigest_.end() ? nullptr : handOut(found->second);
}

IBucket* BucketCase::getBucketByName(const WideString& fullName) {
  CriticalSectionLock hold(lock_);
  const auto found = byName_.find(fullName);
  return found == byName_.end() ? nullptr : handOut(found->second.bucket);
}

bool BucketCase::removeBucket(const WideString& fullName) {
  return guardedCall(nullptr, false, [&] {
    CriticalSectionLock hold(lock_);
    std::uint32_t removedUse = 0;
    return removeEntry(fullName, removedUse);
  });
}

bool BucketCase::hasBucket(const WideString& fullName) {
  CriticalSectionLock hold(lock_);
  return byName_.find(fullName) != byName_.end();
}

std::uint32_t BucketCase::getNumBuckets() {
  CriticalSectionLock hold(lock_);
  return static_cast<std::uint32_t>(byName_.size());
}

std::uint32_t BucketCase::openEnumeration() {
  CriticalSectionLock hold(lock_);
  return cursors_.openHandle(nextHandle_);
}

bool BucketCase::closeEnumeration(std::uint32_t handle) {
  CriticalSectionLock hold(lock_);
  return cursors_.close(handle);
}

IBucket* BucketCase::enumFirstBucket(std::uint32_t handle) {
  return guardedCall(nullptr, static_cast<IBucket*>(nullptr), [&] {
    CriticalSectionLock hold(lock_);
    const auto at = cursors_.first(handle, byName_.begin(), byName_.end(), kEveryBucket);
    return at == byName_.end() ? nullptr : handOut(at->second.bucket);
  });
}

IBucket* BucketCase::enumNextBucket(std::uint32_t handle, TarnhiveStatus* status) {
  return guardedCall(status, static_cast<IBucket*>(nullptr), [&] {
    CriticalSectionLock hold(lock_);
    const auto at = cursors_.next(handle, byName_.end(), status, kEveryBucket);
    return at == byName_.end() ? nullptr : handOut(at->second.bucket);
  });
}

}  // namespace vesk::tarnhive
