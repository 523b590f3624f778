// BucketUpdateCache: remembering deletions and the commit step.
#include "cache/BucketUpdateCache.h"

#include "status/StatusGuard.h"

namespace vesk::tarnhive {

using orlo::WideString;
using orlo::osdep::CriticalSectionLock;

namespace {

// Empties the cache when the commit step ends, however it ends.
class ClearOnExit {
 public:
  explicit ClearOnExit(IBucketCase& cache) : cache_(cache) {}
  ~ClearOnExit() { cache_.clearBuckets(); }
  ClearOnExit(const ClearOnExit&) = delete;
  ClearOnExit& operator=(const ClearOnExit&) = delete;

 private:
  IBucketCase& cache_;
};

}  // namespace

void BucketUpdateCache::clearBuckets() {
  CriticalSectionLock hold(lock_);
  BucketCache::clearBuckets();
  removed_.clear();
}

void BucketUpdateCache::addBucket(IBucket* bucket, const bool& overwrite, TarnhiveStatus* status) {
  addUnderLock(bucket, status, [&](std::uint32_t memUsage) {
    removed_.erase(bucket->getFullName());
    addCounted(*bucket, memUsage, overwrite, status);
  });
}

bool BucketUpdateCache::removeBucket(const WideString& fullName) {
  return guardedCall(nullptr, false, [&] {
    CriticalSectionLock hold(lock_);
    removed_.insert(fullName);
    return BucketCache::removeBucket(fullName);
  });
}

void BucketUpdateCache::deserialize(const std::uint8_t*& cursor, const std::uint8_t* end) {
  CriticalSectionLock hold(lock_);
  try {
    BucketCase::deserialize(cursor, end);
  } catch (...) {
    recountUsage();
    throw;
  }
  recountUsage();
}

void BucketUpdateCache::applyTo(IBucketCase& target, const CommitStep& commit,
                                TarnhiveStatus* status) {
  if (failed(status)) return;
  CriticalSectionLock hold(lock_);
  const ClearOnExit clear(*this);
  unconditionalRun(status, [&] {
    for (const WideString& name : removed_) target.removeBucket(name);
    const bool overwrite = true;
    for (const auto& entry : byName_)
      target.addBucket(entry.second.bucket.get(), overwrite, status);
    commit(byName_, removed_, status);
  });
}

bool BucketUpdateCache::isRemoved(const WideString& fullName) {
  CriticalSectionLock hold(lock_);
  return removed_.count(fullName) != 0;
}

NameSet BucketUpdateCache::getRemovedNames() {
  CriticalSectionLock hold(lock_);
  return removed_;
}

}  // namespace vesk::tarnhive
