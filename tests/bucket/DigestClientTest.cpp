// The exported Digest as a client sees it: through the public header and the
// shared library only.
#include <gtest/gtest.h>

#include <cctype>
#include <string>

#include "vesk/tarnhive/Tarnhive.h"

namespace {

using vesk::orlo::WideString;
using vesk::tarnhive::Digest;
using vesk::tarnhive::DigestString;

std::string narrow(const WideString& text) { return std::string(text.begin(), text.end()); }

TEST(DigestClientTest, NamesHashAndPrintThroughTheSharedLibrary) {
  Digest digest;
  DigestString text;
  // SHA-256 of the UTF-16LE bytes of "a".
  const std::string expected = "ffe9aaeaa2a2d5048174df0b80599ef0197ec024c4b051bc9860cff58ef7f9f3";
  Digest::calculateDigest(WideString(u"A"), digest, text);
  WideString lower;
  digest.getString(lower);
  EXPECT_EQ(narrow(lower), expected);
  std::string upper = expected;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  EXPECT_EQ(std::string(text.c_str()), upper);
  EXPECT_EQ(digest, Digest(vesk::orlo::NarrowString("a")));
}

TEST(DigestClientTest, CountedDigestFreesItselfOnLastRelease) {
  auto* digest = new Digest(WideString(u"/Vesk/Settings"));
  digest->addRef();
  digest->addRef();
  digest->release();
  WideString text;
  digest->getString(text);
  EXPECT_EQ(narrow(text), "7d5770dc3225fbb598cffabe6614a0f954a8e98d6852b18c14f88cb8e76b14c5");
  digest->release();
}

}  // namespace
