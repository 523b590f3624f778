// Typed access to values: the getter rule, the setters, allocation failures,
// copies, equality and the memory estimate.
#include "bucket/BucketValue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

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

#define SCALAR(K, G) {K, [](BucketValue& v, TarnhiveStatus* s) { return v.G(s) == 0; }}
#define TEXT(K, G) {K, [](BucketValue& v, TarnhiveStatus* s) { return v.G(s).empty(); }}
#define ELEMENT(K, G) {K, [](BucketValue& v, TarnhiveStatus* s) { return v.G(0, s) == 0; }}
#define TEXT_ELEMENT(K, G) {K, [](BucketValue& v, TarnhiveStatus* s) { return v.G(0, s).empty(); }}
#define WHOLE(K, G, T)                            \
  {K, [](BucketValue& v, TarnhiveStatus* s) {     \
     T* out = nullptr;                            \
     const std::uint32_t count = v.G(&out, s);    \
     freeBlock(v, out);                           \
     return count == 0 && out == nullptr;         \
   }}

void freeBlock(BucketValue& v, NarrowString* block) { v.freeAnsiStringArray(block, nullptr); }
void freeBlock(BucketValue& v, WideString* block) { v.freeStringArray(block, nullptr); }
void freeBlock(BucketValue&, void* block) { orlo::osdep::taskFree(block); }

const std::vector<Getter>& allGetters() {
  static const std::vector<Getter> getters = {
      {kDIGEST, [](BucketValue& v, TarnhiveStatus* s) { return v.getDigest(s) == Digest(); }},
      TEXT(kANSISTRING, getAnsiString),
      TEXT(kSTRING, getString),
      {kBLOB, [](BucketValue& v, TarnhiveStatus* s) { return v.getBlob(nullptr, 0, s) == 0; }},
      SCALAR(kBLOB, getBlobSize),
      SCALAR(kBOOL, getBool), SCALAR(kINT8, getInt8), SCALAR(kUINT8, getUInt8),
      SCALAR(kINT16, getInt16), SCALAR(kUINT16, getUInt16), SCALAR(kINT32, getInt32),
      SCALAR(kUINT32, getUInt32), SCALAR(kINT64, getInt64), SCALAR(kUINT64, getUInt64),
      SCALAR(kFLOAT32, getFloat32), SCALAR(kFLOAT64, getFloat64),
      TEXT_ELEMENT(kANSISTRINGARRAY, getAnsiStringArrayElement),
      TEXT_ELEMENT(kSTRINGARRAY, getStringArrayElement),
      ELEMENT(kBOOLARRAY, getBoolArrayElement), ELEMENT(kINT8ARRAY, getInt8ArrayElement),
      ELEMENT(kUINT8ARRAY, getUInt8ArrayElement), ELEMENT(kINT16ARRAY, getInt16ArrayElement),
      ELEMENT(kUINT16ARRAY, getUInt16ArrayElement), ELEMENT(kINT32ARRAY, getInt32ArrayElement),
      ELEMENT(kUINT32ARRAY, getUInt32ArrayElement), ELEMENT(kINT64ARRAY, getInt64ArrayElement),
      ELEMENT(kUINT64ARRAY, getUInt64ArrayElement),
      ELEMENT(kFLOAT32ARRAY, getFloat32ArrayElement),
      ELEMENT(kFLOAT64ARRAY, getFloat64ArrayElement),
      WHOLE(kANSISTRINGARRAY, getAnsiStringArray, NarrowString),
      WHOLE(kSTRINGARRAY, getStringArray, WideString), WHOLE(kBOOLARRAY, getBoolArray, bool),
      WHOLE(kINT8ARRAY, getInt8Array, std::int8_t),
      WHOLE(kUINT8ARRAY, getUInt8Array, std::uint8_t),
      WHOLE(kINT16ARRAY, getInt16Array, std::int16_t),
      WHOLE(kUINT16ARRAY, getUInt16Array, std::uint16_t),
      WHOLE(kINT32ARRAY, getInt32Array, std::int32_t),
      WHOLE(kUINT32ARRAY, getUInt32Array, std::uint32_t),
      WHOLE(kINT64ARRAY, getInt64Array, std::int64_t),
      WHOLE(kUINT64ARRAY, getUInt64Array, std::uint64_t),
      WHOLE(kFLOAT32ARRAY, getFloat32Array, float),
      WHOLE(kFLOAT64ARRAY, getFloat64Array, double),
  };
  return getters;
}

#undef SCALAR
#undef TEXT
#undef ELEMENT
#undef TEXT_ELEMENT
#undef WHOLE

void attachMessage(TarnhiveStatus& status) {
  status.message = new (orlo::osdep::taskAlloc(sizeof(WideString))) WideString(u"kept");
}

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

TEST(BucketValueTest, EveryGetterIsANoOpOnANegativeRecord) {
  for (const Getter& getter : allGetters()) {
    Value v = fixedSample(getter.kind);
    TarnhiveStatus status;
    status.code = kOUTOFMEMORY;
    attachMessage(status);
    EXPECT_TRUE(getter.yieldsZero(*v, &status)) << getter.kind;
    EXPECT_EQ(status.code, kOUTOFMEMORY);
    EXPECT_NE(status.message, nullptr) << "not even the message changes";
    // A warning does not stop a getter.
    TarnhiveStatus warned;
    warned.code = kWVALUEREPLACED;
    EXPECT_FALSE(getter.yieldsZero(*v, &warned)) << getter.kind;
    EXPECT_EQ(warned.code, kWVALUEREPLACED);
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
  EXPECT_EQ(v.getBlob(buffer, 12, &status), 10u);
  EXPECT_EQ(buffer[10], 0);
  EXPECT_EQ(status.code, 0);
  EXPECT_EQ(v.getBlob(nullptr, 10, &status), 10u);
  EXPECT_EQ(status.code, kNULLARGUMENT);

  BucketValue empty(BucketValue::kBlobData, nullptr, 0, nullptr);
  status.code = 0;
  EXPECT_EQ(empty.getBlob(nullptr, 0, &status), 0u);
  EXPECT_EQ(empty.getType(), kBLOB);
  EXPECT_EQ(status.code, 0);
}

TEST(BucketValueTest, ArrayIndexesAndWholeArrays) {
  const std::int32_t items[] = {5, -6, 7};
  BucketValue v(items, 3, nullptr);
  TarnhiveStatus status;
  EXPECT_EQ(v.getInt32ArrayElement(2, &status), 7);
  EXPECT_EQ(v.getInt32ArrayElement(3, &status), 0);
  EXPECT_EQ(status.code, kINDEXOUTOFRANGE);

  status.code = 0;
  std::int32_t* block = nullptr;
  ASSERT_EQ(v.getInt32Array(&block, &status), 3u);
  EXPECT_EQ(std::memcmp(block, items, sizeof items), 0);
  orlo::osdep::taskFree(block);
  EXPECT_EQ(v.getInt32Array(nullptr, &status), 0u);
  EXPECT_EQ(status.code, kNULLARGUMENT);

  BucketValue empty(items, 0, nullptr);
  status.code = 0;
  EXPECT_EQ(empty.getArraySize(), 0u);
  EXPECT_EQ(empty.getInt32Array(&block, &status), 0u);
  EXPECT_EQ(status.code, kNODATA);
  status.code = 0;
  EXPECT_EQ(empty.getInt32ArrayElement(0, &status), 0);
  EXPECT_EQ(status.code, kINDEXOUTOFRANGE);
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

// Fails each payload step of an operation in turn, SQLite style, until the
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

// ---- Copies and equality ----

TEST(BucketValueTest, CopiesOfEveryKindEqualTheirSource) {
  SampleMaker samples(7);
  for (std::uint32_t kind = kNOTSET; kind <= kFLOAT64ARRAY; ++kind) {
    for (int round = 0; round < 8; ++round) {
      Value v = samples.make(static_cast<BucketValueType>(kind));
      TarnhiveStatus status;
      Value copy(new BucketValue(*v, &status));
      EXPECT_EQ(status.code, 0);
      IBucketValue* a = v.get();
      IBucketValue* b = copy.get();
      EXPECT_TRUE(v->isEqual(a, b)) << "kind " << kind;
    }
  }
}

TEST(BucketValueTest, EqualityRules) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  auto equal = [](BucketValue&& a, BucketValue&& b) { return BucketValue::valuesEqual(a, b); };
  EXPECT_FALSE(equal(BucketValue(nan, nullptr), BucketValue(nan, nullptr)));
  EXPECT_TRUE(equal(BucketValue(0.0f, nullptr), BucketValue(-0.0f, nullptr)));
  EXPECT_FALSE(equal(BucketValue(std::int32_t{5}, nullptr), BucketValue(5u, nullptr)));
  EXPECT_FALSE(equal(BucketValue(NarrowString("a"), nullptr), BucketValue(NarrowString("A"), nullptr)));
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
  some->addRef();
  some->release();
}

TEST(BucketValueTest, MemoryEstimateFollowsTheHeldBytes) {
  const NarrowString narrow[] = {"ab", "c"};
  const WideString wide[] = {u"ab", u"c"};
  const std::int16_t shorts[3] = {};
  const double doubles[2] = {};
  const std::uint8_t bytes[10] = {};
  EXPECT_EQ(BucketValue().getMemUsage(), 64u);
  EXPECT_EQ(BucketValue(Digest(), nullptr).getMemUsage(), 112u);
  EXPECT_EQ(BucketValue(NarrowString("abc"), nullptr).getMemUsage(), 67u);
  EXPECT_EQ(BucketValue(WideString(u"abc"), nullptr).getMemUsage(), 70u);
  EXPECT_EQ(BucketValue(BucketValue::kBlobData, bytes, 10, nullptr).getMemUsage(), 74u);
  EXPECT_EQ(BucketValue(narrow, 2, nullptr).getMemUsage(), 67u);
  EXPECT_EQ(BucketValue(wide, 2, nullptr).getMemUsage(), 70u);
  EXPECT_EQ(BucketValue(shorts, 3, nullptr).getMemUsage(), 70u);
  EXPECT_EQ(BucketValue(doubles, 2, nullptr).getMemUsage(), 80u);
  EXPECT_EQ(BucketValue(std::int64_t{1}, nullptr).getMemUsage(), 64u);
}

}  // namespace
}  // namespace vesk::tarnhive
