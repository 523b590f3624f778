// One bucket used from several threads at once: setting, removing,
// enumerating, copying, comparing and writing records must neither crash nor
// race (run under the thread sanitizer), and must leave a consistent bucket.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "bucket/Bucket.h"
#include "support/BucketTesting.h"

namespace vesk::tarnhive {
namespace {

using namespace test;
using orlo::WideString;

constexpr int kRounds = 300;

WideString keyName(int i) {
  WideString name(u"key");
  name += static_cast<orlo::WChar>(u'a' + i % 16);
  return name;
}

void writer(Bucket& bucket, int seed) {
  TarnhiveStatus status;
  for (int i = 0; i < kRounds; ++i) {
    status.code = 0;
    bucket.setInt32(keyName(i + seed), i, &status, true);
    bucket.removeValue(keyName(i * 7 + seed));
    if (i % 50 == 0) bucket.clearDataValues();
    if (i % 20 == 0) bucket.addChildLink(keyName(i), &status, true);
  }
}

void reader(Bucket& bucket, Bucket& other) {
  WideString name;
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
    bucket.isEqual(&other);  // and other compares with bucket at the same time
    other.mergeFrom(&bucket, 2, &status);
    bucket.getMemUsage();
    Bytes record(bucket.serializationSize() + 4096);
    std::uint8_t* cursor = record.data();
    try {
      bucket.serialize(cursor, record.data() + record.size());
    } catch (const orlo::exception::BufferOverflow&) {
      // The bucket grew by more than the margin between the two calls.
    }
  }
  if (value != nullptr) value->release();
}

TEST(BucketThreads, ConcurrentChangesAndReadsStayConsistent) {
  BucketPtr bucket = newBucket(u"/shared");
  BucketPtr other = newBucket(u"/shared");
  std::vector<std::thread> threads;
  for (int t = 0; t < 2; ++t) threads.emplace_back(writer, std::ref(*bucket), t * 5);
  threads.emplace_back(reader, std::ref(*bucket), std::ref(*other));
  threads.emplace_back(reader, std::ref(*other), std::ref(*bucket));
  for (auto& thread : threads) thread.join();

  const Bytes record = recordOf(*bucket);
  BucketPtr read(new Bucket());
  const std::uint8_t* cursor = record.data();
  read->deserialize(cursor, record.data() + record.size());
  EXPECT_TRUE(read->isEqual(bucket.get()));
  EXPECT_LE(bucket->getNumValues(), 32u);
}

}  // namespace
}  // namespace vesk::tarnhive
