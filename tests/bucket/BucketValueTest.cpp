// Typed access to values: the getter rule, the setters, allocation failures
// and equality. (Every getter runs through the status guard, whose no-op on
// a failed record is checked in StatusGuardTest.)
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "bucket/BucketValue.h"
#include "bucket/ValueSamples.h"

namespace vesk::tarnhive {
namespace {

using namespace test;
using orlo::NarrowString;
using orlo::WideString;

// Calls one getter; true when it returned its zero result.
struct Getter {
  BucketValueType kind;
  std::function<bool(BucketValue&, TarnhiveStatus*)> yieldsZero;
};

void freeBlock(BucketValue& v, NarrowString* block) { v.freeAnsiStringArray(block, nullptr); }
void freeBlock(BucketValue& v, WideString* block) { v.freeStringArray(block, nullptr); }
void freeBlock(BucketValue&, void* block) { orlo::osdep::taskFree(block); }

template <class T>
bool wholeIsZero(BucketValue& v, std::uint32_t (BucketValue::*get)(T**, TarnhiveStatus*),
                 TarnhiveStatus* s) {
  T* out = nullptr;
  const std::uint32_t count = (v.*get)(&out, s);
  freeBlock(v, out);
  return count == 0 && out == nullptr;
}

#define GETTER(K, ZERO)                                       \
  Getter {                                                    \
    K, [](BucketValue& v, TarnhiveStatus* s) { return ZERO; } \
  }
#define WHOLE(K, G) GETTER(K, wholeIsZero(v, &BucketValue::G, s))

const std::vector<Getter>& allGetters() {
  // clang-format off
  static const std::vector<Getter> getters = {
      GETTER(kDIGEST, v.getDigest(s) == Digest()),      GETTER(kSTRING, v.getString(s).empty()),
      GETTER(kANSISTRING, v.getAnsiString(s).empty()),  GETTER(kBLOB, v.getBlobSize(s) == 0),
      GETTER(kBLOB, v.getBlob(nullptr, 0, s) == 0),     GETTER(kBOOL, !v.getBool(s)),
      GETTER(kINT8, v.getInt8(s) == 0),                 GETTER(kUINT8, v.getUInt8(s) == 0),
      GETTER(kINT16, v.getInt16(s) == 0),               GETTER(kUINT16, v.getUInt16(s) == 0),
      GETTER(kINT32, v.getInt32(s) == 0),               GETTER(kUINT32, v.getUInt32(s) == 0),
      GETTER(kINT64, v.getInt64(s) == 0),               GETTER(kUINT64, v.getUInt64(s) == 0),
      GETTER(kFLOAT32, v.getFloat32(s) == 0),           GETTER(kFLOAT64, v.getFloat64(s) == 0),
      GETTER(kANSISTRINGARRAY, v.getAnsiStringArrayElement(0, s).empty()),
      GETTER(kSTRINGARRAY, v.getStringArrayElement(0, s).empty()),
      GETTER(kBOOLARRAY, !v.getBoolArrayElement(0, s)),
      GETTER(kINT8ARRAY, v.getInt8ArrayElement(0, s) == 0),
      GETTER(kUINT8ARRAY, v.getUInt8ArrayElement(0, s) == 0),
      GETTER(kINT16ARRAY, v.getInt16ArrayElement(0, s) == 0),
      GETTER(kUINT16ARRAY, v.getUInt16ArrayElement(0, s) == 0),
      GETTER(kINT32ARRAY, v.getInt32ArrayElement(0, s) == 0),
      GETTER(kUINT32ARRAY, v.getUInt32ArrayElement(0, s) == 0),
      GETTER(kINT64ARRAY, v.getInt64ArrayElement(0, s) == 0),
      GETTER(kUINT64ARRAY, v.getUInt64ArrayElement(0, s) == 0),
      GETTER(kFLOAT32ARRAY, v.getFloat32ArrayElement(0, s) == 0),
      GETTER(kFLOAT64ARRAY, v.getFloat64ArrayElement(0, s) == 0),
      WHOLE(kANSISTRINGARRAY, getAnsiStringArray), WHOLE(kSTRINGARRAY, getStringArray),
      WHOLE(kBOOLARRAY, getBoolArray),             WHOLE(kINT8ARRAY, getInt8Array),
      WHOLE(kUINT8ARRAY, getUInt8Array),           WHOLE(kINT16ARRAY, getInt16Array),
      WHOLE(kUINT16ARRAY, getUInt16Array),         WHOLE(kINT32ARRAY, getInt32Array),
      WHOLE(kUINT32ARRAY, getUInt32Array),         WHOLE(kINT64ARRAY, getInt64Array),
      WHOLE(kUINT64ARRAY, getUInt64Array),         WHOLE(kFLOAT32ARRAY, getFloat32Array),
      WHOLE(kFLOAT64ARRAY, getFloat64Array),
  };
  // clang-format on
  return getters;
}

#undef GETTER
#undef WHOLE


// ---- The getter rule ----

TEST(BucketValueTest, EveryGetterRejectsEveryOtherKind) {
  for (std::uint32_t kind = kNOTSET; kind <= kFLOAT64ARRAY; ++kind) {
    Value v = fixedSample(static_cast<BucketValueType>(kind));
    for (const Getter& getter : allGetters()) {
      if (getter.kind == kind) continue;
      TarnhiveStatus status;
      EXPECT_TRUE(getter.yieldsZero(*v, &status)) << "kind " << kind << " getter " << getter.kind;
      EXPECT_EQ(status.code, kWRONGTYPE) << "kind " << kind << " getter " << getter.kind;
    }
    EXPECT_EQ(v->getType(), kind) << "getters change nothing";
  }
}

TEST(BucketValueTest, BlobBufferSizes) {
  const std::uint8_t bytes[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  BucketValue v(BucketValue::kBlobData, bytes, 10, nullptr);
  std::uint8_t buffer[12] = {};
  TarnhiveStatus status;
  EXPECT_EQ(v.getBlob(buffer, 0, &status), 10u);  // asks for the size
  EXPECT_EQ(status.code, 0);
  EXPECT_EQ(v.getBlob(buffer, 5, &status), 10u);
  EXPECT_EQ(status.code, kBUFFERTOOSMALL);
  EXPECT_EQ(buffer[0], 0) << "nothing copied";
  status.code = 0;
  EXPECT_EQ(v.getBlob(buffer, 10, &status), 10u);
  EXPECT_EQ(std::memcmp(buffer, bytes, 10), 0);
  EXPECT_EQ(status.code, 0);
  EXPECT_EQ(v.getBlob(nullptr, 10, &status), 10u);
  EXPECT_EQ(status.code, kNULLARGUMENT);
}

TEST(BucketValueTest, ArrayIndexesAndWholeArrays) {
  const std::int32_t items[] = {5, -6, 7};
  BucketValue v(items, 3, nullptr), empty(items, 0, nullptr);
  TarnhiveStatus s1, s2, s3, s4;
  std::int32_t* block = nullptr;
  ASSERT_EQ(v.getInt32Array(&block, &s1), 3u);
  EXPECT_EQ(std::memcmp(block, items, sizeof items), 0);
  orlo::osdep::taskFree(block);
  EXPECT_EQ(v.getInt32ArrayElement(2, &s1), 7);
  EXPECT_EQ(s1.code, 0);
  EXPECT_EQ(v.getInt32ArrayElement(3, &s1), 0);
  EXPECT_EQ(s1.code, kINDEXOUTOFRANGE);
  EXPECT_EQ(empty.getInt32ArrayElement(0, &s2), 0);
  EXPECT_EQ(s2.code, kINDEXOUTOFRANGE);
  EXPECT_EQ(v.getInt32Array(nullptr, &s3), 0u);
  EXPECT_EQ(s3.code, kNULLARGUMENT);
  EXPECT_EQ(empty.getInt32Array(&block, &s4), 0u);
  EXPECT_EQ(s4.code, kNODATA) << "an empty array cannot be fetched whole";
}

TEST(BucketValueTest, StringBlocksAreFreedThroughTheValueThatMadeThem) {
  const WideString items[] = {u"one", WideString(u"t\0o", 3), u""};
  BucketValue v(items, 3, nullptr);
  TarnhiveStatus status;
  WideString* block = nullptr;
  ASSERT_EQ(v.getStringArray(&block, &status), 3u);
  EXPECT_EQ(block[1], items[1]);
  EXPECT_EQ(v.getStringArrayElement(0, &status), items[0]);

  // Another kind refuses the block and keeps its hands off it.
  BucketValue other(items[0], nullptr);
  other.freeStringArray(block, &status);
  EXPECT_EQ(status.code, kWRONGTYPE);
  status.code = kWRONGTYPE;
  v.freeStringArray(block, &status);  // a negative record frees nothing either
  status.code = 0;
  v.freeStringArray(block, &status);  // the leak checker sees that this frees all
  EXPECT_EQ(status.code, 0);
  v.freeStringArray(nullptr, &status);
  EXPECT_EQ(status.code, 0);
}

// ---- Setters ----

TEST(BucketValueTest, SettersReplaceTheKindAndAlwaysRun) {
  TarnhiveStatus status;
  status.code = kNODATA;  // setters do not look at the record
  BucketValue v(WideString(u"wide"), &status);
  v.setAnsiString("narrow", &status);
  EXPECT_EQ(v.getType(), kANSISTRING);
  EXPECT_EQ(status.code, kNODATA);
  status.code = 0;
  EXPECT_TRUE(v.getString(&status).empty());
  EXPECT_EQ(status.code, kWRONGTYPE);

  // A null source with a count changes nothing.
  status.code = 0;
  v.setInt16Array(nullptr, 2, &status);
  v.setBlob(nullptr, 1, &status);
  EXPECT_EQ(status.code, kNULLARGUMENT);
  status.code = 0;
  EXPECT_EQ(v.getAnsiString(&status), NarrowString("narrow"));
}

// Fails each payload step of an operation in turn until the
// operation completes.
TEST(BucketValueTest, EveryAllocationFailureReportsOutOfMemoryAndLeavesNothing) {
  const NarrowString items[] = {"a", "bb", "ccc"};
  for (std::uint32_t step = 1;; ++step) {
    BucketValue v(std::int32_t{9}, nullptr);
    TarnhiveStatus status;
    {
      PayloadFailure failure(step);
      v.setAnsiStringArray(items, 3, &status);
    }
    if (status.code == 0) {
      EXPECT_EQ(step, 5u) << "one block and three copies can fail";
      break;
    }
    EXPECT_EQ(status.code, kOUTOFMEMORY);
    EXPECT_EQ(v.getType(), kNOTSET) << "the old value is gone";
  }
  BucketValue source(items, 3, nullptr);
  for (std::uint32_t step = 1; step <= 4; ++step) {
    TarnhiveStatus status;
    {
      PayloadFailure failure(step);
      BucketValue copy(source, &status);
      EXPECT_EQ(copy.getType(), kNOTSET);
    }
    EXPECT_EQ(status.code, kOUTOFMEMORY);
    status.code = 0;
    NarrowString* block = nullptr;
    {
      PayloadFailure failure(step);
      EXPECT_EQ(source.getAnsiStringArray(&block, &status), 0u);
    }
    EXPECT_EQ(status.code, kOUTOFMEMORY);
    EXPECT_EQ(block, nullptr);
  }
}

// ---- Equality ----

TEST(BucketValueTest, EqualityRules) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  auto equal = [](BucketValue&& a, BucketValue&& b) { return BucketValue::valuesEqual(a, b); };
  EXPECT_FALSE(equal(BucketValue(nan, nullptr), BucketValue(nan, nullptr)));
  EXPECT_TRUE(equal(BucketValue(0.0f, nullptr), BucketValue(-0.0f, nullptr)));
  EXPECT_FALSE(equal(BucketValue(std::int32_t{5}, nullptr), BucketValue(5u, nullptr)));
  EXPECT_FALSE(
      equal(BucketValue(NarrowString("a"), nullptr), BucketValue(NarrowString("A"), nullptr)));
  EXPECT_TRUE(equal(BucketValue(), BucketValue()));

  const std::uint8_t one = 1, two = 2;
  EXPECT_FALSE(equal(BucketValue(reinterpret_cast<const bool*>(&one), 1, nullptr),
                     BucketValue(reinterpret_cast<const bool*>(&two), 1, nullptr)))
      << "bools compare their stored bytes";
  const double withNan[] = {1.0, nan}, zeros[] = {0.0, -0.0}, negZeros[] = {-0.0, 0.0};
  EXPECT_FALSE(equal(BucketValue(withNan, 2, nullptr), BucketValue(withNan, 2, nullptr)));
  EXPECT_TRUE(equal(BucketValue(zeros, 2, nullptr), BucketValue(negZeros, 2, nullptr)));
  EXPECT_FALSE(equal(BucketValue(zeros, 1, nullptr), BucketValue(zeros, 2, nullptr)));
  EXPECT_TRUE(equal(BucketValue(zeros, 0, nullptr), BucketValue(withNan, 0, nullptr)));

  IBucketValue* none = nullptr;
  IBucketValue* some = new BucketValue();
  EXPECT_TRUE(some->isEqual(none, none));
  EXPECT_FALSE(some->isEqual(some, none));
  EXPECT_FALSE(some->isEqual(none, some));
  EXPECT_TRUE(some->isEqual(some, some));
  some->addRef();
  some->release();
}

}  // namespace
}  // namespace vesk::tarnhive
