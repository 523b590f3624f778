// Buckets: the store path and its codes, merging, copies, comparison and the
// memory estimate. (Derived names and parent links are checked through the
// manager's tree tests and the text forms.)
#include <gtest/gtest.h>

#include "bucket/Bucket.h"
#include "bucket/ValueSamples.h"
#include "support/BucketTesting.h"

namespace vesk::tarnhive {
namespace {

using namespace test;
using orlo::WideString;

std::int32_t int32Of(IBucket& bucket, const WideString& name) {
  TarnhiveStatus status;
  auto value = orlo::RefPtr<IBucketValue>::adopt(bucket.getValue(name, &status));
  return value ? value->getInt32(&status) : -1;
}

// A bucket as the store hands it out: read from a record, so not modified.
BucketPtr loaded(IBucket& source, std::uint8_t version = 0) {
  Bytes record = recordOf(source);
  record[4] = version;
  return bucketFrom(record);
}

TEST(BucketStore, RefusesBadInputWithItsCode) {
  BucketPtr b = newBucket(u"/b");
  Value unset = newValue();
  auto codeOf = [&](auto&& set) {
    TarnhiveStatus status;
    EXPECT_FALSE(set(&status));
    return status.code;
  };
  EXPECT_EQ(codeOf([&](auto s) { return b->setInt32(u"", 1, s, true); }), kEMPTYVALUENAME);
  EXPECT_EQ(codeOf([&](auto s) { return b->setValue(u"v", nullptr, s, true); }), kNULLVALUE);
  EXPECT_EQ(codeOf([&](auto s) { return b->setValue(u"v", unset.get(), s, true); }), kWRONGTYPE);
  EXPECT_EQ(codeOf([&](auto s) { return b->setInt32Array(u"v", nullptr, 2, s, true); }),
            kNULLARGUMENT);
  EXPECT_EQ(codeOf([&](auto s) { return b->addChildLink(u"", s, true); }), kEMPTYVALUENAME);
  {
    PayloadFailure failure(1);
    EXPECT_EQ(codeOf([&](auto s) { return b->setString(u"v", u"text", s, true); }), kOUTOFMEMORY);
  }
  TarnhiveStatus failed;
  failed.code = kINTERNALERROR;
  EXPECT_FALSE(b->setInt32(u"v", 1, &failed, true));
  EXPECT_EQ(failed.code, kINTERNALERROR);
  EXPECT_EQ(b->getNumValues(), 0u) << "nothing was stored";
}

// An equal value changes nothing (flag, stamp, cursors); a different one is
// replaced only with overwrite, and the entry takes the new spelling.
TEST(BucketStore, ReplacesOnlyDifferentValuesAndOnlyWithOverwrite) {
  TestClock clock(100);
  BucketPtr original = newBucket(u"/b");
  TarnhiveStatus status;
  original->setInt32(u"Key", 1, &status, false);
  BucketPtr b = loaded(*original);
  WideString name;
  IBucketValue* value = nullptr;
  ASSERT_TRUE(b->enumFirstValue(name, value, 2, &status));

  TestClock::set(200);
  EXPECT_FALSE(b->setInt32(u"key", 1, &status, true));
  EXPECT_FALSE(b->isModified());
  EXPECT_EQ(b->getTimestamp().seconds, 100);
  EXPECT_FALSE(b->enumNextValue(name, value, 2, &status));
  EXPECT_EQ(status.code, 0) << "the cursor was not invalidated";

  EXPECT_FALSE(b->setInt32(u"KEY", 2, &status, false));
  EXPECT_EQ(status.code, kVALUEEXISTS);
  status.code = 0;
  EXPECT_TRUE(b->setInt32(u"KEY", 2, &status, true));
  EXPECT_EQ(status.code, kWVALUEREPLACED);
  EXPECT_EQ(int32Of(*b, u"key"), 2);
  EXPECT_TRUE(b->isModified());
  EXPECT_EQ(b->getTimestamp().seconds, 200);
  ASSERT_TRUE(b->enumFirstValue(name, value, 2, &status));
  EXPECT_EQ(name, WideString(u"KEY"));
  value->release();
}

// Target {x:1, y:1}; a source of the same name in other letter case {y:2, z:2}
// at version 7.
class BucketMerge : public ::testing::Test {
 protected:
  void SetUp() override {
    target->setInt32(u"x", 1, &status, false);
    target->setInt32(u"y", 1, &status, false);
    source->setInt32(u"y", 2, &status, false);
    source->setInt32(u"z", 2, &status, false);
    source = loaded(*source, 7);
  }
  std::vector<std::int32_t> values() {
    return {int32Of(*target, u"x"), int32Of(*target, u"y"), int32Of(*target, u"z")};
  }

  TarnhiveStatus status;
  BucketPtr target = newBucket(u"/m");
  BucketPtr source = newBucket(u"/M");
};

TEST_F(BucketMerge, CopiesByModeAndTakesTheVersion) {
  EXPECT_FALSE(target->mergeFrom(newBucket(u"/other").get(), 2, &status));
  EXPECT_FALSE(target->mergeFrom(source.get(), 4, &status));
  EXPECT_EQ(status.code, kBADVALUEKIND);
  EXPECT_EQ(target->getVersion(), 0u);
  status.code = 0;
  EXPECT_TRUE(target->mergeFrom(source.get(), 3, &status));
  EXPECT_EQ(values(), (std::vector<std::int32_t>{1, 1, 2})) << "mode 3 keeps existing values";
  EXPECT_EQ(status.code, 0);
  EXPECT_EQ(target->getVersion(), 7u);
  EXPECT_TRUE(target->mergeFrom(source.get(), 2, &status));
  EXPECT_EQ(values(), (std::vector<std::int32_t>{1, 2, 2}));
  EXPECT_TRUE(target->mergeFrom(source.get(), 1, &status));
  EXPECT_EQ(values(), (std::vector<std::int32_t>{-1, 2, 2})) << "mode 1 clears first";
  EXPECT_FALSE(target->mergeFrom(source.get(), 3, &status)) << "nothing new to store";
}

// The source is walked under a handle of the target, which the target then
// closes on itself: the source keeps that cursor (20 bytes of estimate).
TEST_F(BucketMerge, LeavesItsCursorInTheSource) {
  const std::uint32_t before = source->getMemUsage();
  target->mergeFrom(source.get(), 2, &status);
  EXPECT_EQ(source->getMemUsage(), before + 20);
  EXPECT_EQ(target->openEnumeration(), 3u) << "the merge took handle 2";
}

// A copy keeps values, flags and the modified state; equal buckets need the
// exact name and equal values.
TEST(BucketCopyAndEquality, CopiesKeepEverythingAndEqualityNeedsTheExactName) {
  BucketPtr fresh = newBucket(u"/c", false);
  TarnhiveStatus status;
  fresh->setString(u"s", u"text", &status, false);
  fresh->addChildLink(u"kid", &status, false);
  for (const BucketPtr& source : {fresh, loaded(*fresh)}) {
    BucketPtr copy(new Bucket(*source));
    EXPECT_TRUE(copy->isEqual(source.get()));
    EXPECT_EQ(copy->isModified(), source->isModified());
    EXPECT_EQ(copy->getPersistentFlag(), source->getPersistentFlag());
  }

  BucketPtr a = newBucket(u"/e");
  BucketPtr b = newBucket(u"/e");
  BucketPtr otherSpelling = newBucket(u"/E");
  for (Bucket* bucket : {a.get(), b.get(), otherSpelling.get()}) {
    bucket->setInt32(u"k", 1, &status, true);
  }
  EXPECT_TRUE(a->equalBuckets(b.get(), a.get()));
  EXPECT_FALSE(a->isEqual(otherSpelling.get()));
  b->setInt32(u"K", 2, &status, true);
  EXPECT_FALSE(a->isEqual(b.get()));
  b->setInt32(u"k", 1, &status, true);
  b->setInt32(u"other", 1, &status, true);
  EXPECT_FALSE(b->isEqual(a.get()));
  EXPECT_FALSE(a->isEqual(nullptr));
}

TEST(BucketMemory, CountsNamesValuesAndCursors) {
  BucketPtr b = newBucket(u"/ab");
  TarnhiveStatus status;
  b->setInt32(u"k", 1, &status, true);
  const std::uint32_t base = 2 * (3 + 2) + (2 * 1 + 64) + 296;  // names, value, bucket
  EXPECT_EQ(b->getMemUsage(), base);
  b->getFileName();
  WideString name;
  IBucketValue* copy = nullptr;
  b->enumFirstValue(name, copy, 7, &status);
  EXPECT_EQ(b->getMemUsage(), base + 2 * 71 + 20) << "file name and one cursor";
  copy->release();
}

}  // namespace
}  // namespace vesk::tarnhive
