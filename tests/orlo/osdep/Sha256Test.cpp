// The platform's SHA-256 gives the standard answers, whole or fed in pieces:
// digests and block checksums written on one platform are accepted on the
// other.
#include "vesk/orlo/osdep/Sha256.h"

#include <gtest/gtest.h>

#include <string>

namespace vesk::orlo::osdep {
namespace {

std::string hex(const unsigned char* bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string out;
  for (std::size_t i = 0; i < Sha256::kSize; ++i) {
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 15];
  }
  return out;
}

TEST(Sha256Test, KnownAnswers) {
  struct Case {
    std::string message;
    const char* digest;
  };
  const Case cases[] = {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
  };
  for (const Case& c : cases) {
    unsigned char out[Sha256::kSize];
    sha256(c.message.data(), c.message.size(), out);
    EXPECT_EQ(hex(out), c.digest) << '"' << c.message << '"';
  }
}

TEST(Sha256Test, PiecesGiveTheHashOfTheWhole) {
  // One million "a", fed in pieces of 1000.
  const std::string piece(1000, 'a');
  Sha256 hash;
  for (int i = 0; i < 1000; ++i) hash.update(piece.data(), piece.size());
  unsigned char out[Sha256::kSize];
  hash.finish(out);
  EXPECT_EQ(hex(out), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

}  // namespace
}  // namespace vesk::orlo::osdep
