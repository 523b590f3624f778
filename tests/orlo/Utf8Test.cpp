// The restricted UTF-8 codec: what it accepts, what it rejects and where, and
// that every 16-bit unit survives the round trip.
#include "vesk/orlo/Utf8.h"

#include <gtest/gtest.h>

#include <vector>

namespace vesk::orlo {
namespace {

using Bytes = std::vector<std::uint8_t>;

WideString decode(const Bytes& bytes) {
  return utf8ToWide(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

Bytes encode(const WideString& text) {
  // One spare byte, so that even an empty form has a real destination.
  Bytes out(utf8Length(text.data(), text.length()) + 1);
  std::uint8_t* end = wideToUtf8(text.data(), text.length(), out.data(), out.data() + out.size());
  EXPECT_EQ(end, out.data() + out.size() - 1);
  out.pop_back();
  return out;
}

TEST(Utf8Test, EveryUnitRoundTripsWithItsSize) {
  for (std::uint32_t u = 0; u <= 0xFFFF; ++u) {
    const WChar unit = static_cast<WChar>(u);
    const WideString text(&unit, 1);
    const Bytes bytes = encode(text);
    ASSERT_EQ(bytes.size(), u < 0x80 ? 1u : (u < 0x800 ? 2u : 3u)) << u;
    ASSERT_EQ(decode(bytes), text) << u;
  }
}

struct Rejected {
  Bytes bytes;
  std::uint32_t line;
};

TEST(Utf8Test, RejectsEverythingButOneToThreeByteSequences) {
  const std::vector<Rejected> cases = {
      {{0xF0, 0x9F, 0x98, 0x80}, 151},  // four-byte form
      {{0x80}, 151},                    // stray continuation
      {{0xC0, 0x80}, 151},              // overlong lead
      {{0xC1, 0xBF}, 151},
      {{0xFF}, 151},
      {{0xC2, 0x41}, 62},               // bad continuation of a 2-byte sequence
      {{0xE0, 0x80, 0x80}, 76},         // overlong 3-byte sequence
      {{0xE1, 0x80, 0x41}, 76},
      {{0xEF, 0xC0, 0x80}, 76},
      {{0x41, 0xE1, 0x80}, 172},        // cut off by the end
      {{0xC2}, 172},
  };
  for (const auto& c : cases) {
    try {
      decode(c.bytes);
      ADD_FAILURE() << "accepted sequence starting " << int(c.bytes[0]);
    } catch (const exception::InvalidSequence& e) {
      EXPECT_STREQ(e.what(), "Invalid UTF8 encoding sequence");
      EXPECT_STREQ(e.sourceFile(), "vesk/orlo/Utf8ToWide");
      EXPECT_EQ(e.sourceLine(), c.line) << int(c.bytes[0]);
    }
  }
}

TEST(Utf8Test, EncoderRefusesBadAndShortDestinationsAndLengthStopsAtTheLimit) {
  const WideString text(u"a\u00e9\u20ac");  // 1 + 2 + 3 bytes
  std::uint8_t buffer[6];
  EXPECT_THROW(wideToUtf8(text.data(), text.length(), nullptr, buffer), exception::InvalidArgument);
  EXPECT_THROW(wideToUtf8(text.data(), text.length(), buffer + 2, buffer),
               exception::InvalidArgument);
  try {
    wideToUtf8(text.data(), text.length(), buffer, buffer + 5);
    FAIL();
  } catch (const exception::BufferOverflow& e) {
    EXPECT_EQ(e.sourceLine(), 267u);
  }
  EXPECT_EQ(utf8Length(text.data(), text.length()), 6u);
  EXPECT_EQ(utf8Length(text.data(), text.length(), 5), 3u);
  EXPECT_EQ(utf8Length(text.data(), text.length(), 0), 0u);
}

}  // namespace
}  // namespace vesk::orlo
