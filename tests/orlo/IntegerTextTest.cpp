// Reading integers from text, strictly and in decimal as options and commit
// marks are read, with every failure and its location.
#include "vesk/orlo/IntegerText.h"

#include <gtest/gtest.h>

namespace vesk::orlo {
namespace {

std::uint32_t failureLine(const WideString& text, std::uint32_t radix, bool strict) {
  try {
    bool negative = false;
    StringToInteger(text.data(), text.length(), radix, negative, strict);
  } catch (const exception::UnableToConvert& e) {
    EXPECT_STREQ(e.what(), "Unable to convert.");
    EXPECT_STREQ(e.sourceFile(), "vesk/orlo/osdep/StringToInteger");
    return e.sourceLine();
  }
  return 0;
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
