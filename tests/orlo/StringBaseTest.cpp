// The string's buffer rule, offsets, comparisons and records.
#include "vesk/orlo/StringBase.h"

#include <gtest/gtest.h>

#include <vector>

#include "vesk/orlo/StringCase.h"
#include "vesk/orlo/StringRecord.h"

namespace vesk::orlo {
namespace {

using Bytes = std::vector<std::uint8_t>;

// --- buffer rule -----------------------------------------------------------

TEST(StringBaseTest, SelfAssignmentSelfAppendAndEmbeddedZeros) {
  WideString s(u"abcdef");
  s.assign(s.data() + 2, 3);
  EXPECT_EQ(s, WideString(u"cde"));
  s.append(s);
  EXPECT_EQ(s, WideString(u"cdecde"));
  EXPECT_EQ(s.data()[s.length()], 0);

  const WChar units[] = {u'a', 0, u'b'};
  const WideString zeros(units, 3);
  EXPECT_EQ(zeros.length(), 3u);
  EXPECT_NE(zeros, WideString(u"a"));
  EXPECT_GT(zeros.compare(WideString(u"a")), 0);
  EXPECT_EQ(zeros.find(u'b'), 2u);
}

// --- substring and find -------------------------------------------------------

TEST(StringBaseTest, SubstringAndFindOffsets) {
  const NarrowString s("hello");
  EXPECT_EQ(s.substring(1, 3), NarrowString("ell"));
  EXPECT_EQ(s.substring(2), NarrowString("llo"));
  EXPECT_EQ(s.substring(4, 100), NarrowString("o"));
  EXPECT_TRUE(s.substring(5).empty());
  try {
    (void)s.substring(6);
    FAIL() << "no exception";
  } catch (const exception::OutOfRange& e) {
    EXPECT_STREQ(e.what(), "Out of range: String offset out of range");
    EXPECT_EQ(e.errorCode(), 0x8ABC7007u);
    EXPECT_STREQ(e.sourceFile(), "vesk/orlo/StringBase");
    EXPECT_EQ(e.sourceLine(), 691u);
  }
  const NarrowString a("abca");
  EXPECT_EQ(a.find('a', 1), 3u);
  EXPECT_EQ(a.find('a', 4), NarrowString::kNotFound) << "from past the end";
  EXPECT_EQ(a.find('z'), NarrowString::kNotFound);
}

// --- comparison ----------------------------------------------------------------

TEST(StringBaseTest, ExactComparisonIsUnsignedAndPrefixShorterIsLess) {
  EXPECT_LT(NarrowString("\x7f"), NarrowString("\x80"));
  EXPECT_LT(NarrowString("ab"), NarrowString("abc"));
  EXPECT_EQ(NarrowString("abc").compare("abc"), 0);
  EXPECT_EQ(NarrowString("").compare(static_cast<const char*>(nullptr)), 0);
  EXPECT_NE(WideString(u"abc").compare(u"ABC"), 0);
}

TEST(StringBaseTest, IgnoreCaseComparisonAndLowering) {
  EXPECT_EQ(compareIgnoreCase(WideString(u"abc"), WideString(u"ABC")), 0);
  EXPECT_EQ(compareIgnoreCase(WideString(u"\u00e9t\u00e9"), u"\u00c9T\u00c9"), 0);
  EXPECT_LT(compareIgnoreCase(WideString(u"ABC"), WideString(u"abd")), 0);
  EXPECT_GT(compareIgnoreCase(WideString(u"abc"), WideString(u"AB")), 0);
  EXPECT_EQ(compareIgnoreCase(WideString(), static_cast<const WChar*>(nullptr)), 0);
  EXPECT_EQ(compareIgnoreCase(NarrowString("Alpha"), "aLPHA"), 0);
  // The order is that of the lowered units: 'A' lowers to 0x61, above '_'
  // (0x5F), although 'A' itself (0x41) is below it.
  EXPECT_GT(compareIgnoreCase(WideString(u"A"), WideString(u"_")), 0);
  // Surrogate units are left alone by the mapping.
  EXPECT_NE(compareIgnoreCase(WideString(u"\U0001F600"), WideString(u"\U0001F601")), 0);
  WideString mixed(u"MiXeD \u00c4");
  toLower(mixed);
  EXPECT_EQ(mixed, WideString(u"mixed \u00e4"));
#if !defined(_WIN32)
  // The dotted capital I lowers to "i" in the simple mapping; the system's
  // mapping on Windows may keep it.
  WideString dotted(u"\u0130");
  toLower(dotted);
  EXPECT_EQ(dotted, WideString(u"i"));
#endif
}

// --- string records ------------------------------------------------------------

// The bytes of string records, wide ones included, are checked with the
// values that hold strings. A value checks the room for its whole record
// first and reads through a cursor of its own, so the refusals and the
// untouched cursors of the record functions are checked here.
TEST(StringRecordTest, NarrowRecordRefusesShortSpaceAndEveryMalformedRecord) {
  const Bytes good{3, 0, 0, 0, 'a', 'b', 0};
  Bytes space(good.size() - 1, 0xEE);
  std::uint8_t* tight = space.data();
  EXPECT_THROW(writeNarrowRecord(NarrowString("ab"), tight, space.data() + space.size()),
               exception::BufferOverflow);
  EXPECT_EQ(tight, space.data());
  EXPECT_EQ(space, Bytes(good.size() - 1, 0xEE));
  for (std::size_t cut = 0; cut < good.size(); ++cut) {
    NarrowString s("keep");
    const std::uint8_t* cursor = good.data();
    EXPECT_THROW(readNarrowRecord(s, cursor, good.data() + cut), exception::DeserializationError)
        << cut;
    EXPECT_EQ(cursor, good.data());
    EXPECT_EQ(s, NarrowString("keep"));
  }
  const Bytes unterminated{2, 0, 0, 0, 'a', 'b'};
  const Bytes zeroCount{0, 0, 0, 0};
  for (const Bytes* bad : {&unterminated, &zeroCount}) {
    NarrowString s;
    const std::uint8_t* cursor = bad->data();
    try {
      readNarrowRecord(s, cursor, bad->data() + bad->size());
      FAIL();
    } catch (const exception::DeserializationError& e) {
      EXPECT_STREQ(e.sourceFile(), "vesk/orlo/StringBase");
      EXPECT_EQ(e.sourceLine(), 1652u);
    }
  }
  NarrowString s;
  const std::uint8_t* cursor = good.data();
  readNarrowRecord(s, cursor, good.data() + good.size());
  EXPECT_EQ(s, NarrowString("ab"));
  EXPECT_EQ(cursor, good.data() + good.size());
}

}  // namespace
}  // namespace vesk::orlo
