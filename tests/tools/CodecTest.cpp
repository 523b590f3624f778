// The tool's own codecs, below the command line: the encodings values and
// names travel in, and the reading of bucket records and commit blocks
// straight from bytes, which must report damage and never read past them.
#include <gtest/gtest.h>

#include <cstring>

#include "BlockReader.h"
#include "BucketRecord.h"
#include "Encoding.h"
#include "ToolError.h"
#include "ValueText.h"

namespace vesk::tarnhive::tool {
namespace {

// --- encodings -------------------------------------------------------------------

TEST(EncodingTest, StrictUtfConversionsTellWhatCannotTravelAsText) {
  const std::u16string pair = u"\xd83d\xde00";  // U+1F600
  EXPECT_TRUE(isValidUtf16(pair));
  EXPECT_EQ(toUtf8(pair), "\xf0\x9f\x98\x80");
  EXPECT_EQ(fromUtf8("\xf0\x9f\x98\x80"), pair);
  EXPECT_FALSE(isValidUtf16(u"\xd800"));
  EXPECT_FALSE(isValidUtf16(u"a\xdc00"));
  EXPECT_FALSE(fromUtf8("\xed\xa0\x80"));  // an encoded surrogate
  EXPECT_FALSE(fromUtf8("\xc0\x80"));      // overlong
  EXPECT_FALSE(fromUtf8("\xe2\x82"));      // cut short
  // The registry's own form encodes each unit by itself, surrogates too.
  EXPECT_EQ(fromUnitUtf8("\xed\xa0\xbd\xed\xb8\x80"), pair);
  EXPECT_FALSE(fromUnitUtf8("\xf0\x9f\x98\x80"));
  EXPECT_EQ(unitsFromHex(unitsToHex(u"\xd800x")), u"\xd800x");
}

// --- numbers ---------------------------------------------------------------------

TEST(NumberTextTest, RangesAreExactAtBothEnds) {
  const TypeInfo& int8 = *typeByName("int8");
  const TypeInfo& uint64 = *typeByName("uint64");
  const TypeInfo& int64 = *typeByName("int64");
  EXPECT_EQ(parseNumber(int8, "-128"), 0x80u);
  EXPECT_THROW(parseNumber(int8, "128"), ToolError);
  EXPECT_THROW(parseNumber(int8, "-129"), ToolError);
  EXPECT_EQ(parseNumber(uint64, "18446744073709551615"), ~std::uint64_t{0});
  EXPECT_THROW(parseNumber(uint64, "18446744073709551616"), ToolError);
  EXPECT_THROW(parseNumber(uint64, "-1"), ToolError);
  EXPECT_EQ(numberText(int64, parseNumber(int64, "-9223372036854775808")), "-9223372036854775808");
  EXPECT_THROW(parseNumber(int8, ""), ToolError);
  EXPECT_THROW(parseNumber(int8, "1 "), ToolError);
}

TEST(NumberTextTest, FloatsKeepTheirBits) {
  const TypeInfo& f32 = *typeByName("float32");
  const TypeInfo& f64 = *typeByName("float64");
  for (const char* text : {"0.1", "-0", "Infinity", "-Infinity", "NaN", "NaN:0xffc00001", "3.4028235e+38"}) {
    EXPECT_EQ(numberText(f32, parseNumber(f32, text)), text);
  }
  EXPECT_EQ(numberText(f64, parseNumber(f64, "NaN:0x7ff0000000000001")), "NaN:0x7ff0000000000001");
  EXPECT_THROW(parseNumber(f32, "NaN:0x1"), ToolError);    // not a NaN
  EXPECT_THROW(parseNumber(f32, "1e39"), ToolError);       // beyond float32
  // Their JSON form is read back by the export and import test.
}

// --- bucket records --------------------------------------------------------------

std::string u32(std::uint32_t n) { return std::string(reinterpret_cast<const char*>(&n), 4); }

// A bucket "/a" with an int16 array [1, -1] and a narrow string "hi".
std::string sampleRecord() {
  return u32(1) + u32(3) + u32(2) + "/a" + u32(2) +
         u32(1) + "n" + u32(1) + u32(kINT16ARRAY) + u32(2) + std::string("\x01\x00\xff\xff", 4) +
         u32(1) + "s" + u32(1) + u32(kANSISTRING) + u32(3) + std::string("hi\0", 3);
}

TEST(BucketRecordTest, DecodesAndRefusesEveryTruncation) {
  std::string error;
  const auto record = decodeBucket(sampleRecord(), error);
  ASSERT_TRUE(record) << error;
  EXPECT_EQ(record->version, 3u);
  EXPECT_EQ(record->fullName, u"/a");
  ASSERT_EQ(record->values.size(), 2u);
  EXPECT_EQ(record->values[0].second.bits, (std::vector<std::uint64_t>{1, 0xFFFF}));
  EXPECT_EQ(record->values[1].second.narrow, std::vector<std::string>{"hi"});
  const std::string whole = sampleRecord();
  for (std::size_t n = 0; n < whole.size(); ++n) {
    EXPECT_FALSE(decodeBucket(std::string_view(whole).substr(0, n), error)) << n;
  }
  EXPECT_FALSE(decodeBucket(whole + "x", error));
}

// --- commit blocks ---------------------------------------------------------------

std::string u64(std::uint64_t n) { return std::string(reinterpret_cast<const char*>(&n), 8); }

// One block holding `record` under the digest of its name, as a commit
// writes it.
std::string sampleBlock(const std::string& record, const std::string& digest) {
  const std::uint64_t index = 16 + 8 + record.size();
  const std::uint64_t checksumAt = index + 16 + 40 + 8;
  std::string block = u64(checksumAt + 32) + u64(index) + u64(record.size()) + record;
  block += u64(0) + u32(1) + u32(0) + digest + u64(16) + u64(index);
  block += sha256(std::string_view(block).substr(0, checksumAt - 1));
  return block + u64(0) + "@@@@SFBSMARK@@@@";
}

TEST(BlockReaderTest, ReadsAGoodBlockAndReportsEachDamagedField) {
  const std::string digest(32, '\x5a');
  const std::string file = sampleBlock(sampleRecord(), digest);
  std::vector<Problem> problems;
  const std::vector<Block> blocks = readBlocks(file, problems);
  EXPECT_TRUE(problems.empty()) << problems.front().message;
  ASSERT_EQ(blocks.size(), 1u);
  ASSERT_EQ(blocks[0].entries.size(), 1u);
  EXPECT_EQ(recordAt(file, blocks[0], blocks[0].entries[0], problems), sampleRecord());

  // Every byte of the block, flipped, is noticed: by the checksum, the
  // fields it covers not, or the structure.
  for (std::size_t at = 0; at < file.size(); ++at) {
    std::string damaged = file;
    damaged[at] = static_cast<char>(~damaged[at]);
    std::vector<Problem> found;
    readBlocks(damaged, found);
    EXPECT_FALSE(found.empty()) << "byte " << at;
  }
  // Cut files never lead the reader outside them.
  for (std::size_t n = 0; n < file.size(); ++n) {
    std::vector<Problem> found;
    readBlocks(std::string_view(file).substr(0, n), found);
    EXPECT_EQ(found.empty(), n == 0) << n;
  }
}

}  // namespace
}  // namespace vesk::tarnhive::tool
