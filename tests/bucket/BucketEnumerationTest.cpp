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
    bucket = newBucket(u"/p");
    status.code = 0;
    for (const char16_t* key : {u"b", u"A", u"c"}) bucket->setInt32(key, 1, &status, false);
    bucket->addChildLink(u"kid", &status, false);
    bucket->addChildLink(u"zed", &status, false);
  }
  void TearDown() override {
    if (value != nullptr) value->release();
  }
  std::string walk(std::uint32_t handle) {
    std::string names;
    for (bool more = bucket->enumFirstValue(name, value, handle, &status); more;
         more = bucket->enumNextValue(name, value, handle, &status)) {
      names += ascii(name) + " ";
    }
    return names;
  }

  TarnhiveStatus status;
  BucketPtr bucket;
  WideString name;
  IBucketValue* value = nullptr;
};

TEST_F(BucketEnumeration, WalksInNameOrderUnderHandlesFromTwo) {
  const std::uint32_t handle = bucket->openEnumeration();
  EXPECT_EQ(handle, 2u);
  EXPECT_FALSE(bucket->closeEnumeration(handle)) << "registered by the first step only";
  EXPECT_FALSE(bucket->enumNextValue(name, value, handle, &status));
  EXPECT_EQ(status.code, kNOTINCOLLECTION);
  status.code = 0;
  EXPECT_FALSE(bucket->enumFirstValue(name, value, 0, &status));
  EXPECT_EQ(walk(handle), "/p/kid /p/zed A b c ");
  EXPECT_TRUE(bucket->closeEnumeration(handle));

  Digest child;
  ASSERT_TRUE(bucket->enumFirstChild(child, handle));
  EXPECT_EQ(child, Digest(WideString(u"/p/kid")));
  ASSERT_TRUE(bucket->enumNextChild(child, handle, &status));
  EXPECT_EQ(child, Digest(WideString(u"/p/zed")));
  EXPECT_FALSE(bucket->enumNextChild(child, handle, &status)) << "data values are skipped";
  EXPECT_EQ(status.code, 0);
}

// Every change between two steps ends the walk with the warning; a call that
// changes nothing does not.
TEST_F(BucketEnumeration, EveryChangeInvalidatesOpenCursors) {
  const BucketPtr same = newBucket(u"/P");
  same->setInt32(u"new", 9, &status, false);
  const Bytes record = recordOf(*same);
  const std::vector<std::pair<const char*, std::function<void()>>> changes = {
      {"add", [&] { bucket->setInt32(u"d", 4, &status, false); }},
      {"replace", [&] { bucket->setInt32(u"b", 5, &status, true); }},
      {"remove", [&] { bucket->removeValue(u"b"); }},
      {"clear data", [&] { bucket->clearDataValues(); }},
      {"clear", [&] { bucket->clearValues(); }},
      {"merge", [&] { bucket->mergeFrom(same.get(), 2, &status); }},
      {"read",
       [&] {
         const std::uint8_t* cursor = record.data();
         bucket->deserialize(cursor, record.data() + record.size());
       }},
      {"nothing",
       [&] {
         bucket->setInt32(u"A", 1, &status, true);
         bucket->removeValue(u"absent");
       }},
  };
  for (const auto& [label, change] : changes) {
    SetUp();
    ASSERT_TRUE(bucket->enumFirstValue(name, value, 2, &status)) << label;
    change();
    status.code = 0;
    const bool stepped = bucket->enumNextValue(name, value, 2, &status);
    if (std::string(label) == "nothing") {
      EXPECT_TRUE(stepped);
      EXPECT_EQ(status.code, 0);
      continue;
    }
    EXPECT_FALSE(stepped) << label;
    EXPECT_EQ(status.code, kWNOTFOUND) << label;
    status.code = 0;
    EXPECT_FALSE(bucket->enumNextValue(name, value, 2, &status)) << label;
    EXPECT_EQ(status.code, 0) << label << ": the cursor is at the end";
  }
}

}  // namespace
}  // namespace vesk::tarnhive
