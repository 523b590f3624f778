// Narrow <-> wide conversion by encoding name.
#include "vesk/orlo/StringConversion.h"

#include <gtest/gtest.h>

namespace vesk::orlo {
namespace {

TEST(StringConversionTest, UnknownEncodingNameIsAnInvalidLocale) {
  try {
    toWide(NarrowString("x"), "utf-8");
    FAIL();
  } catch (const exception::InvalidLocale& e) {
    EXPECT_STREQ(e.sourceFile(), "vesk/orlo/osdep/_GetCodePageID");
    EXPECT_EQ(e.sourceLine(), 58u);
  }
  EXPECT_THROW(toNarrow(WideString(u"x"), "latin1"), exception::InvalidLocale);
}

TEST(StringConversionTest, SystemCodePageIsUtf8) {
  const NarrowString narrow("gr\xc3\xbc\xc3\x9f dich \xe2\x82\xac");
  const WideString wide = toWide(narrow);
  EXPECT_EQ(wide, WideString(u"gr\u00fc\u00df dich \u20ac"));
  EXPECT_EQ(toNarrow(wide), narrow);
  EXPECT_TRUE(toWide(NarrowString()).empty());
  EXPECT_TRUE(toNarrow(WideString()).empty());
}

TEST(StringConversionTest, BytesThatDoNotDecodeBecomeReplacementCharacters) {
  EXPECT_EQ(toWide(NarrowString("a\xff"
                                "b")),
            WideString(u"a\ufffdb"));
  EXPECT_EQ(toWide(NarrowString("A\x80"), "US-ASCII"), WideString(u"A\ufffd"));
}

TEST(StringConversionTest, EmbeddedZerosSurvive) {
  const char bytes[] = {'a', 0, 'b'};
  const WideString wide = toWide(NarrowString(bytes, 3));
  ASSERT_EQ(wide.length(), 3u);
  EXPECT_EQ(wide[1], 0);
}

TEST(StringConversionTest, ShiftJisAndAscii) {
  EXPECT_EQ(toWide(NarrowString("\x82\xa0"), "cp932"), WideString(u"\u3042"));
  EXPECT_EQ(toNarrow(WideString(u"\u3042"), "cp932"), NarrowString("\x82\xa0"));
  EXPECT_EQ(toNarrow(WideString(u"a\u00e9"), "US-ASCII"), NarrowString("a?"));
}

}  // namespace
}  // namespace vesk::orlo
