// The tool's own codecs, below the command line: the encodings values and
// names travel in.
#include <gtest/gtest.h>

#include <cstring>

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

}  // namespace
}  // namespace vesk::tarnhive::tool
