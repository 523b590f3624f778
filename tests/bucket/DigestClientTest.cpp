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

TEST(DigestClientTest, NamesHashAndPrintThroughTheSharedLibrary) {
  Digest digest;
  DigestString text;
  // SHA-256 of the UTF-16LE bytes of "a".
  const std::string expected = "ffe9aaeaa2a2d5048174df0b80599ef0197ec024c4b051bc9860cff58ef7f9f3";
  Digest::calculateDigest(WideString(u"A"), digest, text);
  std::string upper = expected;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  EXPECT_EQ(std::string(text.c_str()), upper);

  // A counted digest frees itself on its last release.
  auto* counted = new Digest(vesk::orlo::NarrowString("a"));
  counted->addRef();
  counted->addRef();
  counted->release();
  WideString lower;
  counted->getString(lower);
  EXPECT_EQ(std::string(lower.begin(), lower.end()), expected);
  EXPECT_EQ(*counted, digest);
  counted->release();
}

}  // namespace
