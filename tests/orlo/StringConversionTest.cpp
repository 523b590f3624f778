// Narrow <-> wide conversion in the system code page, the only one the
// library converts in.
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

}  // namespace
}  // namespace vesk::orlo
