// Integers to and from text, with every failure and its location.
#include "vesk/orlo/IntegerText.h"

#include <gtest/gtest.h>

namespace vesk::orlo {
namespace {

std::uint32_t parse(const WideString& text, std::uint32_t radix, bool strict, bool* negative = nullptr) {
  bool sign = true;
  const std::uint32_t value = StringToInteger(text.data(), text.length(), radix, sign, strict);
  if (negative) *negative = sign;
  return value;
}

std::uint32_t failureLine(const WideString& text, std::uint32_t radix, bool strict) {
  try {
    parse(text, radix, strict);
  } catch (const exception::UnableToConvert& e) {
    EXPECT_STREQ(e.what(), "Unable to convert.");
    EXPECT_STREQ(e.sourceFile(), "vesk/orlo/osdep/StringToInteger");
    return e.sourceLine();
  }
  return 0;
}

TEST(IntegerTextTest, IntegerToStringDigitsAndRadixes) {
  EXPECT_EQ(IntegerToString(255, 16), WideString(u"FF"));
  EXPECT_EQ(IntegerToString(0, 10), WideString(u"0"));
  EXPECT_EQ(IntegerToString(0xFFFFFFFFu, 2), WideString(u"11111111111111111111111111111111"));
  EXPECT_EQ(IntegerToString(35, 36), WideString(u"Z"));
  for (auto [radix, line] : {std::pair{0u, 53u}, {1u, 33u}, {37u, 33u}}) {
    try {
      IntegerToString(1, radix);
      FAIL() << radix;
    } catch (const exception::UnableToConvert& e) {
      EXPECT_STREQ(e.sourceFile(), "vesk/orlo/osdep/IntegerToString");
      EXPECT_EQ(e.sourceLine(), line);
    }
  }
}

TEST(IntegerTextTest, StringToIntegerReadsSignsPrefixesAndSpace) {
  EXPECT_EQ(parse(u"0x1F", 16, true), 31u);
  EXPECT_EQ(parse(u"0X1f", 16, false), 31u);
  EXPECT_EQ(parse(u"4294967295", 10, true), 0xFFFFFFFFu);
  bool negative = false;
  EXPECT_EQ(parse(u"  \t-42", 10, false, &negative), 42u);
  EXPECT_TRUE(negative);
  EXPECT_EQ(parse(u"+7", 10, true, &negative), 7u);
  EXPECT_FALSE(negative);
  EXPECT_EQ(parse(u"12abc", 10, false), 12u);  // stops at the first non-digit
  EXPECT_EQ(parse(u"", 10, false), 0u);
  EXPECT_EQ(parse(u"0x", 16, false), 0u);  // too short for a prefix: reads the 0
}

TEST(IntegerTextTest, StringToIntegerFailures) {
  EXPECT_EQ(failureLine(u"1", 1, false), 88u);
  EXPECT_EQ(failureLine(u"1", 37, true), 88u);
  EXPECT_EQ(failureLine(u"42949672950", 10, false), 110u);  // multiplication overflows
  EXPECT_EQ(failureLine(u"4294967296", 10, false), 113u);   // addition overflows
  EXPECT_EQ(failureLine(u"12abc", 10, true), 120u);
  EXPECT_EQ(failureLine(u" 12", 10, true), 120u);  // strict skips no space
  EXPECT_EQ(failureLine(u"-", 10, true), 127u);
  EXPECT_EQ(failureLine(u"", 10, true), 127u);
}

}  // namespace
}  // namespace vesk::orlo
