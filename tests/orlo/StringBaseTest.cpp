// The string's buffer rule, offsets, comparisons, tokenizing and records.
#include "vesk/orlo/StringBase.h"

#include <gtest/gtest.h>

#include <vector>

#include "vesk/orlo/StringCase.h"
#include "vesk/orlo/StringRecord.h"
#include "vesk/orlo/Tokenizer.h"

namespace vesk::orlo {
namespace {

using Bytes = std::vector<std::uint8_t>;

// --- buffer rule -----------------------------------------------------------

TEST(StringBaseTest, AssignmentShrinksBelowHalfAndKeepsOtherwise) {
  WideString s(u"0123456789");
  ASSERT_EQ(s.capacity(), 10u);
  const WChar* block = s.data();
  s = u"abcdef";  // 6 of 10: kept
  EXPECT_EQ(s.capacity(), 10u);
  EXPECT_EQ(s.data(), block);
  s = WideString(u"0123456789");
  s = u"abc";  // 3 of 10: reallocated to exactly 3
  EXPECT_EQ(s.capacity(), 3u);
  EXPECT_EQ(s, WideString(u"abc"));
  s = u"abcdefgh";  // grows to exactly 8
  EXPECT_EQ(s.capacity(), 8u);
}

TEST(StringBaseTest, AssignFromItselfAndAppendFromItself) {
  WideString s(u"abcdef");
  s.assign(s.data() + 2, 3);
  EXPECT_EQ(s, WideString(u"cde"));
  s.append(s);
  EXPECT_EQ(s, WideString(u"cdecde"));
  EXPECT_EQ(s.data()[s.length()], 0);
}

TEST(StringBaseTest, EmbeddedZeroUnitsCount) {
  const WChar units[] = {u'a', 0, u'b'};
  WideString s(units, 3);
  EXPECT_EQ(s.length(), 3u);
  EXPECT_NE(s, WideString(u"a"));
  EXPECT_GT(s.compare(WideString(u"a")), 0);
  EXPECT_EQ(s.find(u'b'), 2u);
}

// --- substring and find -------------------------------------------------------

TEST(StringBaseTest, SubstringOffsets) {
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
}

TEST(StringBaseTest, FindFromPastTheEndIsNotFound) {
  const NarrowString s("abca");
  EXPECT_EQ(s.find('a', 1), 3u);
  EXPECT_EQ(s.find('a', 4), NarrowString::kNotFound);
  EXPECT_EQ(s.find('z'), NarrowString::kNotFound);
}

// --- comparison ----------------------------------------------------------------

TEST(StringBaseTest, ExactComparisonIsUnsignedAndPrefixShorterIsLess) {
  EXPECT_LT(NarrowString("\x7f"), NarrowString("\x80"));
  EXPECT_LT(NarrowString("ab"), NarrowString("abc"));
  EXPECT_EQ(NarrowString("abc").compare("abc"), 0);
  EXPECT_EQ(NarrowString("").compare(static_cast<const char*>(nullptr)), 0);
  EXPECT_NE(WideString(u"abc").compare(u"ABC"), 0);
}

TEST(StringBaseTest, IgnoreCaseComparison) {
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
}

TEST(StringBaseTest, ToLowerMapsEachUnit) {
  WideString s(u"MiXeD \u00c4\u0130");
  toLower(s);
  EXPECT_EQ(s, WideString(u"mixed \u00e4i"));
}

// --- tokenizer ------------------------------------------------------------------

std::vector<WideString> tokens(const WideString& text, const WideString& delims, bool empty) {
  WideTokenizer tokenizer(text, delims, empty);
  std::vector<WideString> out;
  while (tokenizer.hasMoreTokens()) {
    WideString token;
    tokenizer.nextToken(token);
    out.push_back(token);
  }
  return out;
}

TEST(TokenizerTest, SkipsRunsAndLeadingDelimitersWithoutEmptyTokens) {
  const auto parts = tokens(u"//a//b/c/", u"/", false);
  ASSERT_EQ(parts.size(), 3u);
  EXPECT_EQ(parts[0], WideString(u"a"));
  EXPECT_EQ(parts[1], WideString(u"b"));
  EXPECT_EQ(parts[2], WideString(u"c"));
  EXPECT_TRUE(tokens(u"///", u"/", false).empty());
}

TEST(TokenizerTest, ReturnsEmptyTokensWhenAsked) {
  const auto parts = tokens(u"a\\\\b", u"\\", true);
  ASSERT_EQ(parts.size(), 3u);
  EXPECT_EQ(parts[0], WideString(u"a"));
  EXPECT_TRUE(parts[1].empty());
  EXPECT_EQ(parts[2], WideString(u"b"));
}

// --- narrow string record --------------------------------------------------------

TEST(StringRecordTest, NarrowRecordBytes) {
  Bytes buffer(16, 0xEE);
  std::uint8_t* cursor = buffer.data();
  writeNarrowRecord(NarrowString("ab"), cursor, buffer.data() + buffer.size());
  EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 7), (Bytes{3, 0, 0, 0, 'a', 'b', 0}));
  EXPECT_EQ(cursor - buffer.data(), 7);
  EXPECT_EQ(narrowRecordSize(NarrowString("")), 5u);

  cursor = buffer.data();
  writeNarrowRecord(NarrowString(""), cursor, buffer.data() + 5);
  EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 5), (Bytes{1, 0, 0, 0, 0}));
  std::uint8_t* tight = buffer.data();
  EXPECT_THROW(writeNarrowRecord(NarrowString("ab"), tight, buffer.data() + 6),
               exception::BufferOverflow);
  EXPECT_EQ(tight, buffer.data());
}

TEST(StringRecordTest, NarrowReaderRejectsEveryMalformedRecord) {
  const Bytes good{3, 0, 0, 0, 'a', 'b', 0};
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

TEST(StringRecordTest, WideRecordUsesSurrogatesAsThreeByteSequences) {
  const WideString smile(u"\U0001F600");
  Bytes buffer(wideRecordSize(smile));
  ASSERT_EQ(buffer.size(), 10u);
  std::uint8_t* cursor = buffer.data();
  writeWideRecord(smile, cursor, buffer.data() + buffer.size());
  EXPECT_EQ(buffer, (Bytes{6, 0, 0, 0, 0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80}));
  WideString back;
  const std::uint8_t* in = buffer.data();
  readWideRecord(back, in, buffer.data() + buffer.size());
  EXPECT_EQ(back, smile);
  for (std::size_t cut = 0; cut < buffer.size(); ++cut) {
    const std::uint8_t* p = buffer.data();
    EXPECT_ANY_THROW(readWideRecord(back, p, buffer.data() + cut));
    EXPECT_EQ(p, buffer.data());
  }
}

}  // namespace
}  // namespace vesk::orlo
