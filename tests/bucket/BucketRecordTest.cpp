// The byte record of a bucket (golden bytes, round trips, every truncation,
// short space) and its two text forms.
#include <gtest/gtest.h>

#include <string>

#include "bucket/Bucket.h"
#include "bucket/ValueSamples.h"
#include "support/BucketTesting.h"
#include "vesk/orlo/Exception.h"

namespace vesk::tarnhive {
namespace {

using namespace test;
using orlo::WideString;
using orlo::exception::BufferOverflow;
using orlo::exception::DeserializationError;
using orlo::exception::InvalidSequence;

// A bucket holding a random value of every kind, under names that differ in
// letter case and include surrogates.
BucketPtr sampleBucket() {
  SampleMaker samples(7);
  BucketPtr bucket = newBucket(u"/s\xD800/B");
  TarnhiveStatus status;
  for (std::uint32_t kind = kDIGEST; kind <= kFLOAT64ARRAY; ++kind) {
    Value v = samples.make(static_cast<BucketValueType>(kind));
    WideString name(kind % 2 ? u"Value" : u"value");
    name += static_cast<orlo::WChar>(u'A' + kind);
    bucket->setValue(name, v.get(), &status, false);
  }
  EXPECT_EQ(status.code, 0);
  return bucket;
}

TEST(BucketRecord, GoldenBytes) {
  BucketPtr bucket = newBucket(u"/a");
  EXPECT_EQ(recordOf(*bucket), (Bytes{1, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, '/', 'a', 0, 0, 0, 0}))
      << "4 + 4 + (4 + name length) + 4 bytes";
  TarnhiveStatus status;
  bucket->setInt8(u"k", -1, &status, false);
  // clang-format off
  EXPECT_EQ(recordOf(*bucket), (Bytes{1, 0, 0, 0,  0, 0, 0, 0,  2, 0, 0, 0, '/', 'a',  1, 0, 0, 0,
                                      1, 0, 0, 0, 'k',  1, 0, 0, 0,  6, 0, 0, 0,  0xFF}));
  // clang-format on
}

TEST(BucketRecord, ValuesOfUnknownKindsAreNeitherCopiedNorWrittenBack) {
  // A record of "/a" holding k = -1 (kINT8) and u of kind 99, as a newer or
  // damaged file may hold it.
  // clang-format off
  const Bytes record{1, 0, 0, 0,  0, 0, 0, 0,  2, 0, 0, 0, '/', 'a',  2, 0, 0, 0,
                     1, 0, 0, 0, 'k',  1, 0, 0, 0,  6, 0, 0, 0,  0xFF,
                     1, 0, 0, 0, 'u',  1, 0, 0, 0,  99, 0, 0, 0};
  // clang-format on
  BucketPtr read = bucketFrom(record);
  BucketPtr copy(new Bucket(*read));
  TarnhiveStatus status;
  EXPECT_TRUE(copy->hasValue(u"k"));
  EXPECT_FALSE(copy->hasValue(u"u"));
  EXPECT_EQ(recordOf(*copy), (Bytes{1, 0, 0, 0,  0, 0, 0, 0,  2, 0, 0, 0, '/', 'a',  1, 0, 0, 0,
                                    1, 0, 0, 0, 'k',  1, 0, 0, 0,  6, 0, 0, 0,  0xFF}));
  // Nor can a value of an unknown kind be set.
  Value unknown(new BucketValue());
  const Bytes kind77{1, 0, 0, 0, 77, 0, 0, 0};
  const std::uint8_t* cursor = kind77.data();
  unknown->deserialize(cursor, kind77.data() + kind77.size());
  EXPECT_FALSE(copy->setValue(u"x", unknown.get(), &status, true));
  EXPECT_EQ(status.code, kWRONGTYPE);
}

TEST(BucketRecord, RoundTripRebuildsTheBucketUnmodified) {
  BucketPtr original = sampleBucket();
  Bytes record = recordOf(*original);
  record[0] = 7;  // the format word is ignored
  record[4] = 9;  // version 9
  BucketPtr read = bucketFrom(record);
  EXPECT_TRUE(read->isEqual(original.get()));
  EXPECT_FALSE(read->isModified());
  EXPECT_EQ(read->getVersion(), 9u);
  EXPECT_EQ(read->getShortName(), WideString(u"B"));
  EXPECT_EQ(read->getParentDigest(), original->getParentDigest());
  EXPECT_EQ(read->getFileName(), original->getFileName());
}

// Entries whose names differ only in letter case collapse into the later;
// an entry that cannot be stored (an unset value) is skipped.
TEST(BucketRecord, ReadingCollapsesDuplicatesAndSkipsUnsetValues) {
  // clang-format off
  const Bytes record = {1, 0, 0, 0,  0, 0, 0, 0,  2, 0, 0, 0, '/', 'a',  3, 0, 0, 0,
                        1, 0, 0, 0, 'k',  1, 0, 0, 0,  6, 0, 0, 0,  1,
                        1, 0, 0, 0, 'u',  1, 0, 0, 0,  0, 0, 0, 0,
                        1, 0, 0, 0, 'K',  1, 0, 0, 0,  6, 0, 0, 0,  2};
  // clang-format on
  BucketPtr read = bucketFrom(record);
  EXPECT_EQ(read->getNumValues(), 1u);
  TarnhiveStatus status;
  orlo::RefPtr<IBucketValue> k = orlo::RefPtr<IBucketValue>::adopt(read->getValue(u"k", &status));
  EXPECT_EQ(k->getInt8(&status), 2);
}

TEST(BucketRecord, EveryTruncationFailsWithoutReadingOrWritingPastTheEnd) {
  BucketPtr bucket = sampleBucket();
  const Bytes record = recordOf(*bucket);
  for (std::size_t length = 0; length < record.size(); ++length) {
    BucketPtr read(new Bucket());
    try {
      readFrom(*read, record, length);
      ADD_FAILURE() << "a record of " << length << " bytes was read";
    } catch (const DeserializationError&) {
    } catch (const InvalidSequence&) {
    }
  }
  for (std::size_t length : {std::size_t{0}, record.size() / 2, record.size() - 1}) {
    Bytes space(length + 1, 0xCD);
    std::uint8_t* cursor = space.data();
    EXPECT_THROW(bucket->serialize(cursor, space.data() + length), BufferOverflow);
    EXPECT_EQ(space, Bytes(length + 1, 0xCD)) << "nothing written";
  }
  const std::uint8_t* none = nullptr;
  EXPECT_THROW(bucket->deserialize(none, record.data()), DeserializationError);
}

// The dump and the text share their values' text and differ in their heads:
// the text has a rule and no parent or file name, and spells the short name
// in full.
TEST(BucketTextForms, DumpAndText) {
  BucketPtr bucket = newBucket(u"/a/b", false);
  TarnhiveStatus status;
  bucket->setInt32(u"k", 5, &status, false);
  bucket->setString(u"S", u"text", &status, false);
  WideString digest, parent;
  Digest(WideString(u"/a/b")).getString(digest);
  Digest(WideString(u"/a")).getString(parent);
  const std::string tail =
      "persistentFlag_ false\r\nversion_        0\r\nmodified_       true\r\n"
      "numKeys         2\r\n[0] k = 5\r\n[1] S = text\r\n";

  const std::string fileName = ascii(bucket->getFileName());
  testing::internal::CaptureStdout();
  bucket->dump();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "\r\nfullName_       /a/b\r\nshorName_       b\r\ndigest_         " + ascii(digest) +
                "\r\nparent_         " + ascii(parent) + "\r\nfileName_       " + fileName +
                "\r\n" + tail);
  EXPECT_EQ(ascii(bucket->toText()),
            "\r\n" + std::string(51, '=') + "\r\nfullName_       /a/b\r\nshortName_      b\r\n" +
                "digest_         " + ascii(digest) + "\r\n" + tail);
}

}  // namespace
}  // namespace vesk::tarnhive
