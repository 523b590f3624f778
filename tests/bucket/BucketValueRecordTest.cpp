// The byte record and the text form of values: golden bytes, round trips and
// copies of random values of every kind, every truncation, damaged records
// and the dump text.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "bucket/BucketValue.h"
#include "bucket/ValueSamples.h"
#include "support/BucketTesting.h"
#include "vesk/orlo/Exception.h"

namespace vesk::tarnhive {
namespace {

using namespace test;
using orlo::NarrowString;
using orlo::WideString;
using orlo::exception::BufferOverflow;
using orlo::exception::DeserializationError;

// Reads the first `length` bytes of `record` from a heap block of exactly that
// size, so that a read past its end is caught by the address sanitizer.
// Returns the number of bytes consumed; rethrows what deserialize throws.
std::size_t readInto(BucketValue& v, const Bytes& record, std::size_t length) {
  std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[length]);
  std::memcpy(block.get(), record.data(), length);
  const std::uint8_t* cursor = block.get();
  try {
    v.deserialize(cursor, block.get() + length);
  } catch (...) {
    EXPECT_EQ(cursor, block.get()) << "a failed read leaves the cursor";
    throw;
  }
  return static_cast<std::size_t>(cursor - block.get());
}

std::size_t readInto(BucketValue& v, const Bytes& record) {
  return readInto(v, record, record.size());
}

std::string textOf(BucketValue& v) {
  WideString text(u"stale");
  v.toString(text);
  return std::string(text.begin(), text.end());
}
std::string textOf(BucketValue&& v) { return textOf(v); }

// ---- Golden bytes ----

TEST(BucketValueRecordTest, WritesTheDocumentedBytes) {
  const std::uint8_t boolBytes[] = {7, 0};
  const std::int16_t shorts[] = {1, -2};
  const std::uint8_t blob[] = {0xAA, 0xBB};
  struct Case {
    Value value;
    Bytes bytes;
  };
  const Case cases[] = {
      {newValue(), {1, 0, 0, 0, 0, 0, 0, 0}},
      {Value(new BucketValue(true, nullptr)), {1, 0, 0, 0, 5, 0, 0, 0, 1}},
      {Value(new BucketValue(reinterpret_cast<const bool*>(boolBytes), 2, nullptr)),
       {1, 0, 0, 0, 18, 0, 0, 0, 2, 0, 0, 0, 1, 0}},
      {Value(new BucketValue(NarrowString("ab"), nullptr)),
       {1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 0x61, 0x62, 0}},
      {Value(new BucketValue(NarrowString(""), nullptr)), {1, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0, 0}},
      {Value(new BucketValue(WideString(u"\U0001F600"), nullptr)),
       {1, 0, 0, 0, 3, 0, 0, 0, 6, 0, 0, 0, 0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}},
      {Value(new BucketValue(shorts, 2, nullptr)),
       {1, 0, 0, 0, 21, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0xFE, 0xFF}},
      {Value(new BucketValue(BucketValue::kBlobData, blob, 2, nullptr)),
       {1, 0, 0, 0, 4, 0, 0, 0, 2, 0, 0, 0, 0xAA, 0xBB}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.value->serializationSize(), c.bytes.size()) << textOf(*c.value);
    EXPECT_EQ(recordOf(*c.value), c.bytes) << textOf(*c.value);
  }
}

// ---- Round trips ----

// Random values of every kind survive a copy and a trip through their record,
// whatever its version word.
TEST(BucketValueRecordTest, RandomValuesOfEveryKindRoundTrip) {
  SampleMaker samples(2024);
  for (std::uint32_t kind = kNOTSET; kind <= kFLOAT64ARRAY; ++kind) {
    for (int round = 0; round < 40; ++round) {
      Value v = samples.make(static_cast<BucketValueType>(kind));
      const Bytes record = recordOf(*v);
      Bytes otherVersion = record;
      otherVersion[0] = static_cast<std::uint8_t>(round);  // any version word reads alike
      BucketValue read(std::int8_t{1}, nullptr);         // replaced by the read
      ASSERT_EQ(readInto(read, otherVersion), record.size()) << "kind " << kind;
      EXPECT_TRUE(BucketValue::valuesEqual(*v, read)) << "kind " << kind;
      EXPECT_EQ(recordOf(read), record);
      TarnhiveStatus status;
      BucketValue copy(*v, &status);
      EXPECT_TRUE(BucketValue::valuesEqual(copy, *v)) << "kind " << kind;
      EXPECT_EQ(status.code, 0);
    }
  }
  // NaN never compares equal, but its bits survive.
  Value nan(new BucketValue(std::numeric_limits<float>::quiet_NaN(), nullptr));
  BucketValue read;
  readInto(read, recordOf(*nan));
  EXPECT_TRUE(std::isnan(read.getFloat32(nullptr)));
  EXPECT_EQ(recordOf(read), recordOf(*nan));
}

// ---- Short space ----

TEST(BucketValueRecordTest, EveryTruncationFailsWithoutReadingOrWritingPastTheEnd) {
  SampleMaker samples(99);
  for (std::uint32_t kind = kNOTSET; kind <= kFLOAT64ARRAY; ++kind) {
    for (Value v : {fixedSample(static_cast<BucketValueType>(kind)),
                    samples.make(static_cast<BucketValueType>(kind))}) {
      const Bytes record = recordOf(*v);
      for (std::size_t length = 0; length < record.size(); ++length) {
        BucketValue read;
        EXPECT_THROW(readInto(read, record, length), DeserializationError)
            << "kind " << kind << " length " << length;
        Bytes space(length + 1, 0xCD);
        std::uint8_t* cursor = space.data();
        EXPECT_THROW(v->serialize(cursor, space.data() + length), BufferOverflow);
        EXPECT_EQ(cursor, space.data());
        EXPECT_EQ(space, Bytes(length + 1, 0xCD)) << "nothing written";
      }
    }
  }
}

// ---- Damaged records ----

TEST(BucketValueRecordTest, MalformedStringsAreRejected) {
  const Bytes badTerminator = {1, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0, 0x61, 0x62};
  const Bytes zeroCount = {1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0};
  const Bytes fourByteUtf8 = {1, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 0xF0, 0x9F, 0x98, 0x80};
  const Bytes inArray = {1, 0, 0, 0,    17, 0, 0, 0, 2,    0,    0,    0,   1,
                         0, 0, 0, 0x61, 4,  0, 0, 0, 0xF0, 0x9F, 0x98, 0x80};
  BucketValue read;
  EXPECT_THROW(readInto(read, badTerminator), DeserializationError);
  EXPECT_THROW(readInto(read, zeroCount), DeserializationError);
  EXPECT_THROW(readInto(read, fourByteUtf8), orlo::exception::InvalidSequence);
  // Inside an array every failure becomes a DeserializationError.
  EXPECT_THROW(readInto(read, inArray), DeserializationError);
  EXPECT_EQ(read.getType(), kSTRINGARRAY);
  EXPECT_EQ(recordOf(read).size(), 12u) << "no half-read strings are kept";
}

TEST(BucketValueRecordTest, DamagedCountsAndUnknownKinds) {
  // A count far beyond the bytes left fails before anything is allocated.
  for (std::uint8_t kind : {kINT64ARRAY, kSTRINGARRAY, kANSISTRINGARRAY, kBLOB}) {
    const Bytes record = {1, 0, 0, 0, kind, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0};
    BucketValue read;
    EXPECT_THROW(readInto(read, record), DeserializationError) << int{kind};
  }
  // An unknown kind reads no payload and raises nothing.
  const Bytes unknown = {1, 0, 0, 0, 99, 0, 0, 0, 0xEE};
  BucketValue read;
  EXPECT_EQ(readInto(read, unknown), 8u);
  EXPECT_EQ(read.getType(), 99u);
  EXPECT_EQ(textOf(read), "kNOTSET");
  EXPECT_FALSE(BucketValue::valuesEqual(read, read));
  EXPECT_EQ(recordOf(read), Bytes(unknown.begin(), unknown.begin() + 8));
}

// A value cut short, or whose block cannot be had, keeps its kind without a
// payload: getters report kNODATA, copies keep that state and writing it is
// refused. Only a blob stops quietly, after its count; every other payload
// that cannot be allocated fails the read.
TEST(BucketValueRecordTest, ValuesWithoutTheirPayload) {
  BucketValue digest, blob;
  EXPECT_THROW(readInto(digest, recordOf(*fixedSample(kDIGEST)), 20), DeserializationError);
  const Bytes blobRecord = recordOf(*fixedSample(kBLOB));
  {
    PayloadFailure failure(1);
    EXPECT_EQ(readInto(blob, blobRecord), 12u) << "the bytes stay unread";
  }
  TarnhiveStatus status;
  EXPECT_EQ(digest.getDigest(&status), Digest());
  EXPECT_EQ(status.code, kNODATA);
  status.code = 0;
  EXPECT_EQ(blob.getBlobSize(&status), 2u);
  EXPECT_EQ(blob.getBlob(nullptr, 0, &status), 0u);
  EXPECT_EQ(status.code, kNODATA);
  for (BucketValue* v : {&digest, &blob}) {
    BucketValue copy(*v, &status);
    EXPECT_TRUE(BucketValue::valuesEqual(copy, *v));
    Bytes space(64);
    std::uint8_t* cursor = space.data();
    EXPECT_THROW(v->serialize(cursor, space.data() + 64), orlo::exception::InvalidOperation);
  }
  for (BucketValueType kind : {kDIGEST, kANSISTRING, kSTRING, kSTRINGARRAY, kUINT16ARRAY}) {
    const Bytes record = recordOf(*fixedSample(kind));
    PayloadFailure failure(1);
    EXPECT_THROW(readInto(digest, record), DeserializationError) << kind;
  }
}

// ---- Text form ----

TEST(BucketValueRecordTest, TextForms) {
  const std::int8_t bytes[3] = {};
  WideString digestText;
  Digest(WideString(u"HH")).getString(digestText);
  EXPECT_EQ(textOf(*newValue()), "kNOTSET");
  EXPECT_EQ(textOf(*fixedSample(kDIGEST)), std::string(digestText.begin(), digestText.end()));
  EXPECT_EQ(textOf(*fixedSample(kSTRING)), "HH");
  EXPECT_EQ(textOf(*fixedSample(kBLOB)), "<blob data>");
  EXPECT_EQ(textOf(*fixedSample(kBOOL)), "true");
  EXPECT_EQ(textOf(BucketValue(std::int8_t{-1}, nullptr)), "-1");
  EXPECT_EQ(textOf(BucketValue(std::uint8_t{255}, nullptr)), "255");
  EXPECT_EQ(textOf(BucketValue(std::uint32_t{4294967295u}, nullptr)), "-1");
  EXPECT_EQ(textOf(BucketValue(~std::uint64_t{0}, nullptr)), "18446744073709551615");
  EXPECT_EQ(textOf(BucketValue(0.25f, nullptr)), "0.250000");
  EXPECT_EQ(textOf(BucketValue(1.5, nullptr)), "1.500000");
  const std::string huge = textOf(BucketValue(1e300, nullptr));
  EXPECT_EQ(huge.size(), 308u) << "never cut short";
  EXPECT_EQ(textOf(BucketValue(bytes, 3, nullptr)), "<kINT8ARRAY[3]>");
  EXPECT_EQ(textOf(*fixedSample(kSTRINGARRAY)), "<kSTRINGARRAY[2]>");
}

}  // namespace
}  // namespace vesk::tarnhive
