// Bucket collections: both maps kept together, enumeration, and the
// collection record.
#include <gtest/gtest.h>

#include "cache/BucketCase.h"
#include "support/BucketTesting.h"
#include "vesk/orlo/Exception.h"

namespace vesk::tarnhive {
namespace {

using namespace test;
using orlo::RefPtr;
using orlo::WideString;
using CasePtr = RefPtr<BucketCase>;

// True when the collection hands out exactly `bucket` by name and digest.
bool holds(IBucketCase& collection, IBucket* bucket, const WideString& name) {
  auto byName = RefPtr<IBucket>::adopt(collection.getBucketByName(name));
  auto byDigest = RefPtr<IBucket>::adopt(collection.getBucketByDigest(Digest(name)));
  return byName.get() == bucket && byDigest.get() == bucket;
}

TEST(BucketCase, KeepsBothMapsTogether) {
  CasePtr collection(new BucketCase());
  BucketPtr first = newBucket(u"/a");
  BucketPtr second = newBucket(u"/A");
  TarnhiveStatus status;
  collection->addBucket(first.get(), false, &status);
  collection->addBucket(second.get(), false, &status);
  EXPECT_EQ(status.code, kCOLLECTIONREJECTED);
  EXPECT_TRUE(holds(*collection, first.get(), u"/A")) << "the old bucket stays";

  status.code = 0;
  collection->addBucket(second.get(), true, &status);
  EXPECT_TRUE(holds(*collection, second.get(), u"/a")) << "replaced in both maps";
  collection->addBucket(nullptr, true, &status);
  EXPECT_EQ(status.code, kNULLARGUMENT);

  EXPECT_TRUE(collection->removeBucket(u"/A"));
  EXPECT_TRUE(holds(*collection, nullptr, u"/a")) << "gone from both maps";
  EXPECT_FALSE(collection->removeBucket(u"/a"));
}

TEST(BucketCase, EnumeratesInNameOrderUntilAChange) {
  CasePtr collection(new BucketCase());
  TarnhiveStatus status;
  EXPECT_EQ(collection->enumFirstBucket(collection->openEnumeration()), nullptr) << "empty";
  for (const char16_t* name : {u"/b", u"/C", u"/a"}) {
    collection->addBucket(newBucket(name).get(), false, &status);
  }
  const std::uint32_t handle = collection->openEnumeration();
  EXPECT_EQ(handle, 3u) << "handles start at 2";
  std::string names;
  for (auto b = RefPtr<IBucket>::adopt(collection->enumFirstBucket(handle)); b;
       b = RefPtr<IBucket>::adopt(collection->enumNextBucket(handle, &status))) {
    names += ascii(b->getFullName());
  }
  EXPECT_EQ(names, "/a/b/C");

  RefPtr<IBucket>::adopt(collection->enumFirstBucket(handle));
  collection->removeBucket(u"/c");
  EXPECT_EQ(collection->enumNextBucket(handle, &status), nullptr);
  EXPECT_EQ(status.code, kWNOTFOUND);
  EXPECT_EQ(collection->enumNextBucket(handle + 1, &status), nullptr);
  EXPECT_EQ(status.code, kNOTINCOLLECTION);
}

// An empty collection is eight bytes and a negative count reads nothing. Of
// two records of one name the first stays; every truncation fails.
TEST(BucketCaseRecord, RoundTripKeepsTheFirstOfEachName) {
  CasePtr collection(new BucketCase());
  EXPECT_EQ(recordOf(*collection), (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
  collection->addBucket(newBucket(u"/x").get(), false, nullptr);
  readFrom(*collection, Bytes{7, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}, 8);
  EXPECT_EQ(collection->getNumBuckets(), 0u);

  TarnhiveStatus status;
  BucketPtr upper = newBucket(u"/B");
  upper->setString(u"s", u"text", &status, false);
  for (const BucketPtr& b : {newBucket(u"/a"), upper, newBucket(u"/")}) {
    collection->addBucket(b.get(), false, &status);
  }
  Bytes record = recordOf(*collection);
  const Bytes lower = recordOf(*newBucket(u"/b"));
  record[4] = 4;
  record.insert(record.end(), lower.begin(), lower.end());

  CasePtr read(new BucketCase());
  readFrom(*read, record, record.size());
  EXPECT_EQ(read->getNumBuckets(), 3u);
  auto b = RefPtr<IBucket>::adopt(read->getBucketByDigest(Digest(WideString(u"/b"))));
  ASSERT_TRUE(b);
  EXPECT_TRUE(b->isEqual(upper.get()));

  for (std::size_t length = 0; length < record.size(); ++length) {
    EXPECT_THROW(readFrom(*read, record, length), orlo::exception::DeserializationError);
  }
  std::uint8_t space[8];
  std::uint8_t* cursor = space;
  EXPECT_THROW(collection->serialize(cursor, space + 8), orlo::exception::BufferOverflow);
}

}  // namespace
}  // namespace vesk::tarnhive
