// Bucket collections: both maps kept together, enumeration, and the
// collection record.
#include "cache/BucketCase.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

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
  RefPtr<IBucket> byName = RefPtr<IBucket>::adopt(collection.getBucketByName(name));
  RefPtr<IBucket> byDigest = RefPtr<IBucket>::adopt(collection.getBucketByDigest(Digest(name)));
  return byName.get() == bucket && byDigest.get() == bucket;
}

TEST(BucketCase, KeepsBothMapsTogether) {
  CasePtr collection(new BucketCase());
  BucketPtr first = newBucket(u"/a");
  BucketPtr second = newBucket(u"/A");
  TarnhiveStatus status;
  collection->addBucket(first.get(), false, &status);
  EXPECT_TRUE(holds(*collection, first.get(), u"/a"));

  collection->addBucket(second.get(), false, &status);
  EXPECT_EQ(status.code, kCOLLECTIONREJECTED);
  EXPECT_TRUE(holds(*collection, first.get(), u"/A")) << "the old bucket stays";

  status.code = 0;
  collection->addBucket(second.get(), true, &status);
  EXPECT_EQ(status.code, 0);
  EXPECT_TRUE(holds(*collection, second.get(), u"/a"));
  EXPECT_EQ(collection->getNumBuckets(), 1u);

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
  for (RefPtr<IBucket> b = RefPtr<IBucket>::adopt(collection->enumFirstBucket(handle)); b;
       b = RefPtr<IBucket>::adopt(collection->enumNextBucket(handle, &status))) {
    names += ascii(b->getFullName());
  }
  EXPECT_EQ(names, "/a/b/C");
  EXPECT_EQ(status.code, 0);

  RefPtr<IBucket> first = RefPtr<IBucket>::adopt(collection->enumFirstBucket(handle));
  collection->removeBucket(u"/c");
  EXPECT_EQ(collection->enumNextBucket(handle, &status), nullptr);
  EXPECT_EQ(status.code, kWNOTFOUND);
  EXPECT_EQ(collection->enumNextBucket(handle + 1, &status), nullptr);
  EXPECT_EQ(status.code, kNOTINCOLLECTION);
  EXPECT_EQ(collection->enumNextBucket(handle, &status), nullptr) << "failed record";
  EXPECT_TRUE(collection->closeEnumeration(handle));
}

// ---- The collection record ----

// Reads `length` bytes of `record` from a block of exactly that size.
void readInto(IBucketCase& collection, const Bytes& record, std::size_t length) {
  std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[length]);
  if (length != 0) std::memcpy(block.get(), record.data(), length);
  const std::uint8_t* cursor = block.get();
  collection.deserialize(cursor, block.get() + length);
  EXPECT_EQ(cursor, block.get() + length);
}

TEST(BucketCaseRecord, EmptyCollectionIsEightBytes) {
  CasePtr collection(new BucketCase());
  EXPECT_EQ(recordOf(*collection), (Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
  collection->addBucket(newBucket(u"/x").get(), false, nullptr);
  readInto(*collection, Bytes{7, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}, 8);
  EXPECT_EQ(collection->getNumBuckets(), 0u) << "a negative count reads nothing";
}

TEST(BucketCaseRecord, RoundTripKeepsTheFirstOfEachName) {
  CasePtr collection(new BucketCase());
  TarnhiveStatus status;
  BucketPtr upper = newBucket(u"/B");
  upper->setInt32(u"v", 1, &status, false);
  for (const BucketPtr& b : {newBucket(u"/a"), upper, newBucket(u"/")}) {
    collection->addBucket(b.get(), false, &status);
  }
  Bytes record = recordOf(*collection);
  Bytes lower = recordOf(*newBucket(u"/b"));
  record[4] = 4;  // a fourth record, a second "/b", which must be dropped
  record.insert(record.end(), lower.begin(), lower.end());

  CasePtr read(new BucketCase());
  readInto(*read, record, record.size());
  EXPECT_EQ(read->getNumBuckets(), 3u);
  RefPtr<IBucket> b = RefPtr<IBucket>::adopt(read->getBucketByDigest(Digest(WideString(u"/b"))));
  ASSERT_TRUE(b);
  EXPECT_TRUE(b->isEqual(upper.get()));
}

TEST(BucketCaseRecord, EveryTruncationFails) {
  CasePtr collection(new BucketCase());
  TarnhiveStatus status;
  for (const char16_t* name : {u"/a", u"/a/b"}) {
    BucketPtr b = newBucket(name);
    b->setString(u"s", u"text", &status, false);
    collection->addBucket(b.get(), false, &status);
  }
  const Bytes record = recordOf(*collection);
  CasePtr read(new BucketCase());
  for (std::size_t length = 0; length < record.size(); ++length) {
    EXPECT_THROW(readInto(*read, record, length), orlo::exception::DeserializationError)
        << length;
  }
  std::uint8_t space[8];
  std::uint8_t* cursor = space;
  EXPECT_THROW(collection->serialize(cursor, space + 8), orlo::exception::BufferOverflow);
}

}  // namespace
}  // namespace vesk::tarnhive
