// Narrow <-> wide conversion by encoding name.
#include "vesk/orlo/StringConversion.h"

#include <gtest/gtest.h>

namespace vesk::orlo {
namespace {

// The system code page is UTF-8: bytes that do not decode become replacement
// characters, and embedded zeros survive.
#if !defined(_WIN32)
// On Windows the system code page is the ANSI code page of the machine.
TEST(StringConversionTest, SystemCodePageIsUtf8) {
  const NarrowString narrow("gr\xc3\xbc\xc3\x9f dich \xe2\x82\xac");
  const WideString wide = toWide(narrow);
  EXPECT_EQ(wide, WideString(u"gr\u00fc\u00df dich \u20ac"));
  EXPECT_EQ(toNarrow(wide), narrow);
  EXPECT_TRUE(toWide(NarrowString()).empty());
  EXPECT_TRUE(toNarrow(WideString()).empty());
  EXPECT_EQ(toWide(NarrowString("a\xff"
                                "b")),
            WideString(u"a\ufffdb"));
  const char bytes[] = {'a', 0, 'b'};
  const WideString zeros = toWide(NarrowString(bytes, 3));
  ASSERT_EQ(zeros.length(), 3u);
  EXPECT_EQ(zeros[1], 0);
}
#endif

TEST(StringConversionTest, NamedEncodings) {
  EXPECT_EQ(toWide(NarrowString("\x82\xa0"), "cp932"), WideString(u"\u3042"));
  EXPECT_EQ(toNarrow(WideString(u"\u3042"), "cp932"), NarrowString("\x82\xa0"));
#if !defined(_WIN32)
  // Windows maps characters outside ASCII to their best fit instead.
  EXPECT_EQ(toNarrow(WideString(u"a\u00e9"), "US-ASCII"), NarrowString("a?"));
  EXPECT_EQ(toWide(NarrowString("A\x80"), "US-ASCII"), WideString(u"A\ufffd"));
#endif
  // An unknown name is an invalid locale.
  try {
    toWide(NarrowString("x"), "utf-8");
    FAIL();
  } catch (const exception::InvalidLocale& e) {
    EXPECT_STREQ(e.sourceFile(), "vesk/orlo/osdep/_GetCodePageID");
    EXPECT_EQ(e.sourceLine(), 58u);
  }
  EXPECT_THROW(toNarrow(WideString(u"x"), "latin1"), exception::InvalidLocale);
}

}  // namespace
}  // namespace vesk::orlo
