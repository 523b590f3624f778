// One memory cache and one update cache used from several threads at once:
// adding, replacing, removing, enumerating, evicting, reading records and
// committing must neither crash nor race (run under the thread sanitizer),
// and must leave both maps and the usage consistent.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "cache/BucketUpdateCache.h"
#include "support/BucketTesting.h"
#include "support/RecordingBucketStore.h"

namespace vesk::tarnhive {
namespace {

using namespace test;
using orlo::RefPtr;

constexpr int kRounds = 300;

// A memory cache that can check its own invariants.
class CheckedCache final : public BucketCache {
 public:
  using BucketCache::BucketCache;
  // Both maps hold the same buckets, and the usage is the recorded total.
  bool consistent() {
    orlo::osdep::CriticalSectionLock hold(lock_);
    if (getUsage() != recordedUse() || byName_.size() != byDigest_.size()) return false;
    for (const auto& [name, entry] : byName_) {
      const auto found = byDigest_.find(Digest(name));
      if (found == byDigest_.end() || found->second.get() != entry.bucket.get()) return false;
    }
    return true;
  }
};

orlo::WideString nameOf(int i) { return wide("/n" + std::to_string(i % 40)); }

void changer(BucketCache& cache, BucketUpdateCache& updates, int seed) {
  TarnhiveStatus status;
  for (int i = 0; i < kRounds; ++i) {
    status.code = 0;
    BucketPtr bucket = newBucket(nameOf(i * 3 + seed));
    bucket->setInt32(u"i", i, &status, true);
    cache.addBucket(bucket.get(), i % 2 == 0, &status);
    cache.removeBucket(nameOf(i * 5 + seed));
    updates.addBucket(bucket.get(), true, &status);
    updates.removeBucket(nameOf(i * 7 + seed));
    bucket->setInt32(u"later", i, &status, true);  // changes a bucket the caches hold
  }
}

void walker(BucketCache& cache, BucketUpdateCache& updates, std::vector<std::string>& log) {
  RecordingBucketStore store(log);
  for (int i = 0; i < kRounds; ++i) {
    TarnhiveStatus status;
    const std::uint32_t handle = cache.openEnumeration();
    for (RefPtr<IBucket> b = RefPtr<IBucket>::adopt(cache.enumFirstBucket(handle)); b;
         b = RefPtr<IBucket>::adopt(cache.enumNextBucket(handle, &status))) {
      RefPtr<IBucket> byDigest = RefPtr<IBucket>::adopt(cache.getBucketByDigest(b->getDigest()));
    }
    cache.closeEnumeration(handle);
    Bytes record(cache.serializationSize() + (1 << 16));
    std::uint8_t* cursor = record.data();
    try {
      cache.serialize(cursor, record.data() + record.size());
    } catch (const orlo::exception::BufferOverflow&) {
      // The cache grew by more than the margin between the two calls.
    }
    if (i % 10 == 0) updates.applyTo(cache, store, &status);
  }
}

TEST(CacheThreads, ConcurrentUseKeepsMapsAndUsageConsistent) {
  RefPtr<CheckedCache> cache(new CheckedCache(8000));
  RefPtr<BucketUpdateCache> updates(new BucketUpdateCache(0));
  std::vector<std::string> log;
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back(changer, std::ref(*cache), std::ref(*updates), t);
  }
  threads.emplace_back(walker, std::ref(*cache), std::ref(*updates), std::ref(log));
  for (auto& thread : threads) thread.join();

  EXPECT_TRUE(cache->consistent());
  EXPECT_LE(cache->getNumBuckets(), 40u);
  const Bytes record = recordOf(*cache);
  RefPtr<BucketCache> read(new BucketCache(1u << 30));
  const std::uint8_t* cursor = record.data();
  read->deserialize(cursor, record.data() + record.size());
  EXPECT_EQ(read->getNumBuckets(), cache->getNumBuckets());
}

}  // namespace
}  // namespace vesk::tarnhive
