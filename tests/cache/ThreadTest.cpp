// Buckets and caches used from several threads at once. Setting, removing,
// enumerating, copying, comparing and merging two buckets in both directions,
// and adding, removing, enumerating, evicting and committing in two caches,
// must neither deadlock nor race (run these under the thread sanitizer) and
// must leave consistent objects behind.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "cache/BucketUpdateCache.h"
#include "support/BucketTesting.h"

namespace vesk::tarnhive {
namespace {

using namespace test;
using orlo::RefPtr;

constexpr int kRounds = 300;

// Writes a record while others change the object: the size may grow between
// the two calls by more than the margin, which is not an error.
template <class T>
void writeRecord(T& object) {
  Bytes record(object.serializationSize() + (1 << 16));
  std::uint8_t* cursor = record.data();
  try {
    object.serialize(cursor, record.data() + record.size());
  } catch (const orlo::exception::BufferOverflow&) {
  }
}

void writer(Bucket& bucket, int seed) {
  TarnhiveStatus status;
  for (int i = 0; i < kRounds; ++i) {
    status.code = 0;
    bucket.setInt32(wide("key" + std::to_string((i + seed) % 16)), i, &status, true);
    bucket.removeValue(wide("key" + std::to_string((i * 7 + seed) % 16)));
    if (i % 50 == 0) bucket.clearDataValues();
    if (i % 20 == 0) bucket.addChildLink(wide(std::to_string(i)), &status, true);
  }
}

void reader(Bucket& bucket, Bucket& other) {
  orlo::WideString name;
  IBucketValue* value = nullptr;
  for (int i = 0; i < kRounds; ++i) {
    TarnhiveStatus status;
    const std::uint32_t handle = bucket.openEnumeration();
    for (bool more = bucket.enumFirstValue(name, value, handle, &status); more;
         more = bucket.enumNextValue(name, value, handle, &status)) {
    }
    bucket.closeEnumeration(handle);
    BucketPtr copy(new Bucket(bucket));
    bucket.isEqual(copy.get());
    bucket.isEqual(&other);
    other.mergeFrom(&bucket, 2, &status);
    writeRecord(bucket);
  }
  if (value != nullptr) value->release();
}

TEST(BucketThreads, ConcurrentChangesAndReadsStayConsistent) {
  BucketPtr bucket = newBucket(u"/shared");
  BucketPtr other = newBucket(u"/shared");
  std::vector<std::thread> threads;
  threads.emplace_back(writer, std::ref(*bucket), 0);
  threads.emplace_back(writer, std::ref(*bucket), 5);
  threads.emplace_back(reader, std::ref(*bucket), std::ref(*other));
  threads.emplace_back(reader, std::ref(*other), std::ref(*bucket));
  for (auto& thread : threads) thread.join();

  for (const BucketPtr& b : {bucket, other}) {
    EXPECT_TRUE(bucketFrom(recordOf(*b))->isEqual(b.get()));
  }
}

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
    bucket->setInt32(u"later", i, &status, true);  // a bucket both caches hold
  }
}

void walker(BucketCache& cache, BucketUpdateCache& updates) {
  // A commit target that keeps nothing.
  const BucketUpdateCache::CommitStep store = [](const BucketsByName&, const NameSet&,
                                                 TarnhiveStatus*) {};
  for (int i = 0; i < kRounds; ++i) {
    TarnhiveStatus status;
    const std::uint32_t handle = cache.openEnumeration();
    for (auto b = RefPtr<IBucket>::adopt(cache.enumFirstBucket(handle)); b;
         b = RefPtr<IBucket>::adopt(cache.enumNextBucket(handle, &status))) {
      RefPtr<IBucket>::adopt(cache.getBucketByDigest(b->getDigest()));
    }
    cache.closeEnumeration(handle);
    writeRecord(cache);
    if (i % 10 == 0) updates.applyTo(cache, store, &status);
  }
}

TEST(CacheThreads, ConcurrentUseKeepsMapsAndUsageConsistent) {
  RefPtr<CheckedCache> cache(new CheckedCache(8000));
  RefPtr<BucketUpdateCache> updates(new BucketUpdateCache(0));
  std::vector<std::thread> threads;
  threads.emplace_back(changer, std::ref(*cache), std::ref(*updates), 0);
  threads.emplace_back(changer, std::ref(*cache), std::ref(*updates), 1);
  threads.emplace_back(walker, std::ref(*cache), std::ref(*updates));
  for (auto& thread : threads) thread.join();
  EXPECT_TRUE(cache->consistent());
}

}  // namespace
}  // namespace vesk::tarnhive
