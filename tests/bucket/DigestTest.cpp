// Digests of names, checked against the SHA-256 of the expected lower-cased
// UTF-16LE bytes (the hash itself pinned by published known answers, on
// each platform's SHA-256), the empty-name rules, their order and their
// byte record.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "vesk/orlo/Exception.h"
#include "vesk/orlo/osdep/Sha256.h"
#include "vesk/tarnhive/Digest.h"

namespace vesk::tarnhive {
namespace {

using orlo::WideString;
using Bytes = std::array<unsigned char, Digest::kSize>;
using namespace std::string_literals;

// SHA-256 of the UTF-16LE bytes of `lowered`, hashed directly.
Bytes referenceHash(const std::u16string& lowered) {
  std::vector<unsigned char> bytes;
  for (char16_t unit : lowered) {
    bytes.push_back(static_cast<unsigned char>(unit & 0xFF));
    bytes.push_back(static_cast<unsigned char>(unit >> 8));
  }
  Bytes out{};
  orlo::osdep::sha256(bytes.data(), bytes.size(), out.data());
  return out;
}

Bytes bytesOf(const Digest& digest) {
  Bytes out{};
  std::memcpy(out.data(), digest.bytes(), out.size());
  return out;
}

std::string narrow(const WideString& text) { return std::string(text.begin(), text.end()); }

Digest digestFromBytes(const Bytes& bytes) {
  const unsigned char* cursor = bytes.data();
  return Digest(cursor, bytes.data() + bytes.size());
}

std::string hexOf(const Bytes& bytes) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

// The published known answers of SHA-256, and one digest pinned whole, so
// that the reference above is a hash and the same on every platform.
TEST(DigestTest, TheHashGivesTheKnownAnswersOfSha256) {
  const auto hash = [](const std::string& text) {
    Bytes out{};
    orlo::osdep::sha256(reinterpret_cast<const unsigned char*>(text.data()), text.size(), out.data());
    return hexOf(out);
  };
  EXPECT_EQ(hash("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(hash("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(hash(std::string(1000000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
  EXPECT_EQ(hexOf(bytesOf(Digest(WideString(u"/Vesk/Settings")))),
            "7d5770dc3225fbb598cffabe6614a0f954a8e98d6852b18c14f88cb8e76b14c5");
}

TEST(DigestTest, HashesTheLowerCasedUtf16LeBytesOfTheName) {
  struct Case {
    std::u16string name;
    std::u16string lowered;
  };
  const Case cases[] = {
      {u"/", u"/"},
      {u"/Vesk/Settings", u"/vesk/settings"},
      {u"\u00C4RGER \u03A3", u"\u00E4rger \u03C3"},    // Latin-1 and Greek capitals
      {u"a\0B"s, u"a\0b"s},                            // an embedded zero unit
      {u"x\U0001F600\xDC00Y", u"x\U0001F600\xDC00y"},  // surrogates stay as they are
  };
  for (const Case& c : cases) {
    const WideString name(c.name.data(), static_cast<std::uint32_t>(c.name.size()));
    EXPECT_EQ(bytesOf(Digest(name)), referenceHash(c.lowered)) << narrow(name);
  }
}

TEST(DigestTest, EmptyNameIsTheHashOfNoBytes) {
  const Bytes empty = referenceHash(u"");
  EXPECT_EQ(bytesOf(Digest()), empty);
  EXPECT_EQ(Digest(), Digest(WideString()));
  WideString text;
  Digest().getString(text);
  EXPECT_EQ(narrow(text), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");

  // calculateDigest gives the hash but leaves the text empty.
  Digest digest(WideString(u"other"));
  DigestString digits;
  std::memset(digits.data(), 'x', DigestString::kSize);
  Digest::calculateDigest(WideString(), digest, digits);
  EXPECT_EQ(bytesOf(digest), empty);
  const std::array<char, DigestString::kSize> zeros{};
  EXPECT_EQ(std::memcmp(digits.c_str(), zeros.data(), zeros.size()), 0);
}

TEST(DigestTest, OrdersAsUnsignedBytesFirstByteFirst) {
  Bytes low{}, high{};
  low[0] = 0x7F;
  high[0] = 0x80;
  low[31] = 0xFF;  // later bytes do not outweigh the first
  EXPECT_TRUE(digestFromBytes(low) < digestFromBytes(high));
  EXPECT_FALSE(digestFromBytes(high) < digestFromBytes(low));
  EXPECT_FALSE(digestFromBytes(low) < digestFromBytes(low));
  EXPECT_FALSE(digestFromBytes(low) == digestFromBytes(high));
}

// Values check the record's round trips and truncations, but never reach the
// digest's own refusals: a value checks the room for its whole record first.
TEST(DigestTest, RecordRefusesShortSpaceAndMovesNothing) {
  std::array<unsigned char, 32> buffer{};
  buffer.fill(0xAA);
  const unsigned char* in = buffer.data();
  Digest untouched;
  EXPECT_THROW(untouched.deserialize(in, buffer.data() + 31),
               orlo::exception::DeserializationError);
  EXPECT_THROW(Digest(in, buffer.data() + 31), orlo::exception::DeserializationError);
  EXPECT_EQ(in, buffer.data());
  EXPECT_EQ(untouched, Digest());
  unsigned char* out = buffer.data();
  EXPECT_THROW(Digest().serialize(out, buffer.data() + 31), orlo::exception::BufferOverflow);
  EXPECT_EQ(out, buffer.data());
  EXPECT_EQ(buffer[0], 0xAA);
}

}  // namespace
}  // namespace vesk::tarnhive
