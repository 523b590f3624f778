// Buckets: derived names, the store path and its codes, child links, merging,
// copies, comparison, time stamps and the memory estimate.
#include "bucket/Bucket.h"

#include <gtest/gtest.h>

#include "bucket/BucketNames.h"
#include "bucket/ValueSamples.h"
#include "support/BucketTesting.h"

namespace vesk::tarnhive {
namespace {

using namespace test;
using orlo::WideString;

std::int32_t int32Of(IBucket& bucket, const WideString& name) {
  TarnhiveStatus status;
  orlo::RefPtr<IBucketValue> value = orlo::RefPtr<IBucketValue>::adopt(bucket.getValue(name, &status));
  return value ? value->getInt32(&status) : -1;
}

// A bucket as the store hands it out: read from a record, so not modified.
BucketPtr loaded(IBucket& source, std::uint8_t version = 0) {
  Bytes record = recordOf(source);
  record[4] = version;
  BucketPtr bucket(new Bucket());
  const std::uint8_t* cursor = record.data();
  bucket->deserialize(cursor, record.data() + record.size());
  return bucket;
}

TEST(BucketNames, AreDerivedFromTheFullName) {
  struct Case {
    const char16_t* full;
    const char16_t* shortName;
    const char16_t* parent;
  };
  for (const Case& c : {Case{u"/a/b/c", u"c", u"/a/b"}, Case{u"/a", u"a", u"/"},
                        Case{u"/", u"", u"/"}, Case{u"//a//b/", u"b", u"/a"}}) {
    BucketPtr bucket = newBucket(c.full);
    EXPECT_EQ(bucket->getShortName(), WideString(c.shortName)) << ascii(c.full);
    EXPECT_EQ(bucket->getParentDigest(), Digest(WideString(c.parent))) << ascii(c.full);
    EXPECT_EQ(bucket->getDigest(), Digest(WideString(c.full)));
  }
  Digest digest;
  DigestString text;
  Digest::calculateDigest(u"/a", digest, text);
  EXPECT_EQ(ascii(newBucket(u"/a")->getFileName()), std::string(text.c_str()) + ".bucket");
  EXPECT_EQ(childNameOf(u"/", u"c"), WideString(u"/c"));
  EXPECT_EQ(childNameOf(u"/p", u"c"), WideString(u"/p/c"));
}

// The codes of the common store path.
TEST(BucketStore, RefusesBadInputWithItsCode) {
  BucketPtr b = newBucket(u"/b");
  auto codeOf = [&](auto&& set) {
    TarnhiveStatus status;
    EXPECT_FALSE(set(&status));
    return status.code;
  };
  EXPECT_EQ(codeOf([&](TarnhiveStatus* s) { return b->setInt32(u"", 1, s, true); }),
            kEMPTYVALUENAME);
  EXPECT_EQ(codeOf([&](TarnhiveStatus* s) { return b->setValue(u"v", nullptr, s, true); }),
            kNULLVALUE);
  Value unset = newValue();
  EXPECT_EQ(codeOf([&](TarnhiveStatus* s) { return b->setValue(u"v", unset.get(), s, true); }),
            kWRONGTYPE);
  EXPECT_EQ(codeOf([&](TarnhiveStatus* s) { return b->setInt32Array(u"v", nullptr, 2, s, true); }),
            kNULLARGUMENT);
  {
    PayloadFailure failure(1);
    EXPECT_EQ(codeOf([&](TarnhiveStatus* s) { return b->setString(u"v", u"text", s, true); }),
              kOUTOFMEMORY);
  }
  TarnhiveStatus failed;
  failed.code = kINTERNALERROR;
  EXPECT_FALSE(b->setInt32(u"v", 1, &failed, true));
  EXPECT_EQ(failed.code, kINTERNALERROR);
  EXPECT_EQ(b->getNumValues(), 0u) << "nothing was stored";
}

TEST(BucketStore, ReplacesOnlyDifferentValuesAndOnlyWithOverwrite) {
  TestClock clock(100);
  BucketPtr original = newBucket(u"/b");
  TarnhiveStatus status;
  original->setInt32(u"Key", 1, &status, false);
  BucketPtr b = loaded(*original);
  const std::uint32_t handle = b->openEnumeration();
  WideString name;
  IBucketValue* value = nullptr;
  ASSERT_TRUE(b->enumFirstValue(name, value, handle, &status));

  TestClock::set(200);
  EXPECT_FALSE(b->setInt32(u"key", 1, &status, true)) << "an equal value changes nothing";
  EXPECT_EQ(status.code, 0);
  EXPECT_FALSE(b->isModified());
  EXPECT_EQ(b->getTimestamp().seconds, 100);
  EXPECT_FALSE(b->enumNextValue(name, value, handle, &status));
  EXPECT_EQ(status.code, 0) << "the cursor was not invalidated";

  EXPECT_FALSE(b->setInt32(u"KEY", 2, &status, false));
  EXPECT_EQ(status.code, kVALUEEXISTS);
  EXPECT_EQ(int32Of(*b, u"key"), 1);

  status.code = 0;
  EXPECT_TRUE(b->setInt32(u"KEY", 2, &status, true));
  EXPECT_EQ(status.code, kWVALUEREPLACED);
  EXPECT_EQ(int32Of(*b, u"key"), 2);
  EXPECT_TRUE(b->isModified());
  EXPECT_EQ(b->getTimestamp().seconds, 200);
  ASSERT_TRUE(b->enumFirstValue(name, value, handle, &status));
  EXPECT_EQ(name, WideString(u"KEY")) << "the entry takes the new spelling";
  EXPECT_EQ(b->getNumValues(), 1u);
  value->release();
}

TEST(BucketStore, EveryRemovalStampsTheBucket) {
  TestClock clock(5);
  BucketPtr b = newBucket(u"/t");
  TarnhiveStatus status;
  b->setBool(u"x", true, &status, true);
  b->addChildLink(u"c", &status, true);
  TestClock::set(6);
  EXPECT_FALSE(b->removeValue(u"absent"));
  EXPECT_EQ(b->getTimestamp().seconds, 5);
  EXPECT_TRUE(b->removeValue(u"X"));
  EXPECT_EQ(b->getTimestamp().seconds, 6);
  TestClock::set(7);
  b->clearDataValues();
  EXPECT_EQ(b->getTimestamp().seconds, 6) << "only a link was left";
  b->clearValues();
  EXPECT_EQ(b->getTimestamp().seconds, 7);
  EXPECT_EQ(b->getNumValues(), 0u);
}

TEST(BucketLinks, NameChildrenBelowTheBucket) {
  for (const char16_t* parent : {u"/", u"/p"}) {
    BucketPtr b = newBucket(parent);
    TarnhiveStatus status;
    ASSERT_TRUE(b->addChildLink(u"c", &status, false));
    b->setInt32(u"data", 1, &status, false);
    const WideString child = childNameOf(parent, u"c");
    orlo::RefPtr<IBucketValue> link = orlo::RefPtr<IBucketValue>::adopt(b->getValue(child, &status));
    ASSERT_TRUE(link);
    EXPECT_EQ(link->getDigest(&status), Digest(child));
    b->clearDataValues();
    EXPECT_EQ(b->getNumValues(), 1u);
    EXPECT_FALSE(b->addChildLink(u"", &status, false));
    EXPECT_EQ(status.code, kEMPTYVALUENAME);
  }
}

// Target {x:1, y:1}; source of the same name in other letter case {y:2, z:2}.
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

TEST_F(BucketMerge, CopiesByMode) {
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

TEST_F(BucketMerge, RefusesOtherNamesAndModes) {
  BucketPtr other = newBucket(u"/other");
  EXPECT_FALSE(target->mergeFrom(other.get(), 2, &status));
  EXPECT_FALSE(target->mergeFrom(nullptr, 2, &status));
  EXPECT_EQ(status.code, 0);
  EXPECT_FALSE(target->mergeFrom(source.get(), 4, &status));
  EXPECT_EQ(status.code, kBADVALUEKIND);
  EXPECT_EQ(values(), (std::vector<std::int32_t>{1, 1, -1}));
  EXPECT_EQ(target->getVersion(), 0u);
}

// The source is walked under a handle of the target, and the target closes
// it on itself: the source keeps that cursor (20 bytes of estimate).
TEST_F(BucketMerge, LeavesItsCursorInTheSource) {
  const std::uint32_t before = source->getMemUsage();
  target->mergeFrom(source.get(), 2, &status);
  EXPECT_EQ(source->getMemUsage(), before + 20);
  const std::uint32_t targetHandles = target->openEnumeration();
  EXPECT_EQ(targetHandles, 3u) << "the merge took handle 2";
}

TEST(BucketCopy, KeepsValuesVersionAndModifiedFlag) {
  BucketPtr fresh = newBucket(u"/c", false);
  TarnhiveStatus status;
  fresh->setString(u"s", u"text", &status, false);
  fresh->addChildLink(u"kid", &status, false);
  for (const BucketPtr& source : {fresh, loaded(*fresh)}) {
    BucketPtr copy(new Bucket(*source));
    EXPECT_TRUE(copy->isEqual(source.get()));
    EXPECT_EQ(copy->isModified(), source->isModified());
    EXPECT_EQ(copy->getPersistentFlag(), source->getPersistentFlag());
    EXPECT_EQ(copy->getParentDigest(), source->getParentDigest());
  }
}

TEST(BucketEquality, NeedsSameNameAndEqualValues) {
  BucketPtr a = newBucket(u"/e");
  BucketPtr b = newBucket(u"/e");
  TarnhiveStatus status;
  a->setInt32(u"k", 1, &status, true);
  b->setInt32(u"K", 1, &status, true);
  EXPECT_TRUE(a->isEqual(b.get()));
  EXPECT_TRUE(a->equalBuckets(b.get(), a.get()));
  b->setInt32(u"k", 2, &status, true);
  EXPECT_FALSE(a->isEqual(b.get()));
  b->setInt32(u"k", 1, &status, true);
  b->setInt32(u"other", 1, &status, true);
  EXPECT_FALSE(b->isEqual(a.get()));
  BucketPtr otherSpelling = newBucket(u"/E");
  otherSpelling->setInt32(u"k", 1, &status, true);
  EXPECT_FALSE(a->isEqual(otherSpelling.get())) << "full names compare exactly";
  EXPECT_FALSE(a->isEqual(nullptr));
  EXPECT_TRUE(a->equalBuckets(nullptr, nullptr));
}

TEST(BucketMemory, CountsNamesValuesAndCursors) {
  BucketPtr b = newBucket(u"/ab");
  TarnhiveStatus status;
  b->setInt32(u"k", 1, &status, true);
  const std::uint32_t names = 2 * (3 + 2);  // full and short name; no file name yet
  const std::uint32_t value = 2 * 1 + 64;
  EXPECT_EQ(b->getMemUsage(), names + value + 296);
  b->getFileName();
  EXPECT_EQ(b->getMemUsage(), names + value + 296 + 2 * 71);
  WideString name;
  IBucketValue* copy = nullptr;
  b->enumFirstValue(name, copy, 7, &status);
  EXPECT_EQ(b->getMemUsage(), names + value + 296 + 2 * 71 + 20);
  copy->release();
}

}  // namespace
}  // namespace vesk::tarnhive
