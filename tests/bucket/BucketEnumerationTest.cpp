// Enumerations of a bucket: handles, order, child links, and invalidation by
// every kind of change.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "bucket/Bucket.h"
#include "support/BucketTesting.h"

namespace vesk::tarnhive {
namespace {

using namespace test;
using orlo::WideString;

class BucketEnumeration : public ::testing::Test {
 protected:
  void SetUp() override {
    bucket->setInt32(u"b", 2, &status, false);
    bucket->setInt32(u"A", 1, &status, false);
    bucket->addChildLink(u"kid", &status, false);
    bucket->setInt32(u"c", 3, &status, false);
  }
  void TearDown() override {
    if (value != nullptr) value->release();
  }
  // The names of the whole walk under `handle`.
  std::vector<std::string> walk(std::uint32_t handle) {
    std::vector<std::string> names;
    for (bool more = bucket->enumFirstValue(name, value, handle, &status); more;
         more = bucket->enumNextValue(name, value, handle, &status)) {
      names.push_back(ascii(name));
    }
    return names;
  }

  TarnhiveStatus status;
  BucketPtr bucket = newBucket(u"/p");
  WideString name;
  IBucketValue* value = nullptr;
};

TEST_F(BucketEnumeration, HandlesStartAtTwoAndAreOnlyKnownOnceStarted) {
  const std::uint32_t first = bucket->openEnumeration();
  EXPECT_EQ(first, 2u);
  EXPECT_EQ(bucket->openEnumeration(), 3u);
  EXPECT_FALSE(bucket->closeEnumeration(first)) << "no step was taken";
  EXPECT_FALSE(bucket->enumNextValue(name, value, first, &status));
  EXPECT_EQ(status.code, kNOTINCOLLECTION);
  status.code = 0;
  EXPECT_FALSE(bucket->enumFirstValue(name, value, 0, &status));
  EXPECT_FALSE(newBucket(u"/empty")->enumFirstValue(name, value, first, &status));
  ASSERT_TRUE(bucket->enumFirstValue(name, value, first, &status));
  EXPECT_TRUE(bucket->closeEnumeration(first));
}

TEST_F(BucketEnumeration, WalksValuesInCaseInsensitiveOrder) {
  EXPECT_EQ(walk(bucket->openEnumeration()),
            (std::vector<std::string>{"/p/kid", "A", "b", "c"}));
  EXPECT_EQ(status.code, 0);
  EXPECT_EQ(value->getInt32(&status), 3) << "each step hands out a copy";
}

TEST_F(BucketEnumeration, ChildWalkYieldsOnlyLinks) {
  bucket->addChildLink(u"zed", &status, false);
  const std::uint32_t handle = bucket->openEnumeration();
  Digest child;
  ASSERT_TRUE(bucket->enumFirstChild(child, handle));
  EXPECT_EQ(child, Digest(WideString(u"/p/kid")));
  ASSERT_TRUE(bucket->enumNextChild(child, handle, &status));
  EXPECT_EQ(child, Digest(WideString(u"/p/zed")));
  EXPECT_FALSE(bucket->enumNextChild(child, handle, &status));
  EXPECT_EQ(status.code, 0);
  EXPECT_FALSE(newBucket(u"/q")->enumFirstChild(child, handle));
}

// Every change between two steps ends the walk with the warning; a call that
// changes nothing does not.
TEST_F(BucketEnumeration, EveryChangeInvalidatesOpenCursors) {
  const BucketPtr same = newBucket(u"/P");
  same->setInt32(u"new", 9, &status, false);
  const std::vector<std::pair<const char*, std::function<void()>>> changes = {
      {"add", [&] { bucket->setInt32(u"d", 4, &status, false); }},
      {"replace", [&] { bucket->setInt32(u"b", 5, &status, true); }},
      {"remove", [&] { bucket->removeValue(u"b"); }},
      {"clear data", [&] { bucket->clearDataValues(); }},
      {"clear", [&] { bucket->clearValues(); }},
      {"merge", [&] { bucket->mergeFrom(same.get(), 2, &status); }},
      {"read", [&] {
         const Bytes record = recordOf(*same);
         const std::uint8_t* cursor = record.data();
         bucket->deserialize(cursor, record.data() + record.size());
       }},
  };
  for (const auto& [label, change] : changes) {
    bucket = newBucket(u"/p");
    status.code = 0;
    SetUp();
    const std::uint32_t handle = bucket->openEnumeration();
    ASSERT_TRUE(bucket->enumFirstValue(name, value, handle, &status)) << label;
    change();
    status.code = 0;
    EXPECT_FALSE(bucket->enumNextValue(name, value, handle, &status)) << label;
    EXPECT_EQ(status.code, kWNOTFOUND) << label;
    status.code = 0;
    EXPECT_FALSE(bucket->enumNextValue(name, value, handle, &status)) << label;
    EXPECT_EQ(status.code, 0) << label << ": the cursor is at the end";
  }
  bucket = newBucket(u"/p");
  SetUp();
  const std::uint32_t handle = bucket->openEnumeration();
  ASSERT_TRUE(bucket->enumFirstValue(name, value, handle, &status));
  bucket->setInt32(u"A", 1, &status, true);
  bucket->removeValue(u"absent");
  EXPECT_TRUE(bucket->enumNextValue(name, value, handle, &status));
  EXPECT_EQ(status.code, 0);
}

}  // namespace
}  // namespace vesk::tarnhive
