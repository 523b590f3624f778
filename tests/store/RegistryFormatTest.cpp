// The bytes that a first commit and a compaction write: block layout,
// records, index entries, checksum, trailer, marker and commit marks. (Later
// blocks and their deletion entries are read back from the golden
// registries, and after every crash point in StoreCrashTest.)
#include "store/RegistryFormat.h"
#include "store/FileImage.h"
#include "store/StoreFixture.h"
#include "vesk/orlo/osdep/Sha256.h"

namespace vesk::tarnhive::testing {
namespace {

using store::kBlockMarker;

// The SHA-256 of bytes [from, to), hashed in one piece.
Bytes sha256(const Bytes& bytes, std::size_t from, std::size_t to) {
  Bytes out(32);
  orlo::osdep::sha256(bytes.data() + from, to - from, out.data());
  return out;
}

Bytes digestBytes(const std::string& name) {
  const Digest digest(wide(name));
  return Bytes(digest.bytes(), digest.bytes() + 32);
}

Bytes recordOf(const std::string& name, std::int32_t counter) {
  auto bucket = counterBucket(name, counter);
  Bytes bytes(bucket->serializationSize());
  std::uint8_t* cursor = bytes.data();
  bucket->serialize(cursor, bytes.data() + bytes.size());
  return bytes;
}

// Checks the fixed fields of the block [start, end) and returns its index
// offset.
std::int64_t expectBlock(const Bytes& file, std::int64_t start, std::int64_t end,
                         std::uint32_t entries, std::uint32_t deleted) {
  const std::int64_t trailer = end - 24;
  EXPECT_EQ(i64At(file, start), trailer);
  const std::int64_t index = i64At(file, start + 8);
  EXPECT_EQ(u32At(file, index + 8), entries);
  EXPECT_EQ(u32At(file, index + 12), deleted);
  const std::int64_t copy = index + 16 + 40 * entries + 32 * deleted;
  EXPECT_EQ(i64At(file, copy), index);
  const std::int64_t checksum = copy + 8;
  EXPECT_EQ(checksum + 32, trailer);
  EXPECT_EQ(Bytes(file.begin() + checksum, file.begin() + checksum + 32),
            sha256(file, start, checksum - 1));
  EXPECT_EQ(i64At(file, trailer), start);
  EXPECT_EQ(std::string(file.begin() + trailer + 8, file.begin() + end), kBlockMarker);
  return index;
}

class RegistryFormatTest : public StoreFixture {};

TEST_F(RegistryFormatTest, FirstCommitIsOneBlockByteForByte) {
  auto store = openStore();
  EXPECT_EQ(readFile(path("registry.bin")).size(), 0u);
  EXPECT_EQ(readText(path("commitmark.1")), "0");

  ASSERT_EQ(commit(*store, {{"/a", 7}}), 0);
  const Bytes file = readFile(path("registry.bin"));
  const Bytes record = recordOf("/a", 7);
  // Header, one record, one entry and the fixed 96 bytes of a block.
  ASSERT_EQ(file.size(), 16 + 8 + record.size() + 40 + 80);
  const std::int64_t index = expectBlock(file, 0, file.size(), 1, 0);
  EXPECT_EQ(index, static_cast<std::int64_t>(16 + 8 + record.size()));
  EXPECT_EQ(i64At(file, 16), static_cast<std::int64_t>(record.size()));
  EXPECT_EQ(Bytes(file.begin() + 24, file.begin() + 24 + record.size()), record);
  EXPECT_EQ(i64At(file, index), 0);  // no earlier block
  EXPECT_EQ(Bytes(file.begin() + index + 16, file.begin() + index + 48), digestBytes("/a"));
  EXPECT_EQ(i64At(file, index + 48), 16);
  EXPECT_EQ(commitMarks(), std::vector<std::string>{"commitmark.1"});
  EXPECT_EQ(readText(path("commitmark.1")), std::to_string(file.size()));
}

TEST_F(RegistryFormatTest, ACompactionWritesOneBlockInDigestOrder) {
  auto store = openStore();
  ASSERT_EQ(commit(*store, {{"/a", 1}, {"/b", 2}, {"/c", 3}}), 0);
  ASSERT_EQ(commit(*store, {{"/b", 20}}, {"/c"}), 0);
  TarnhiveStatus status;
  store->compactNow(&status);
  ASSERT_EQ(status.code, 0);
  const Bytes file = readFile(path("registry.bin"));
  const std::int64_t index = expectBlock(file, 0, file.size(), 2, 0);
  EXPECT_EQ(i64At(file, index), 0);
  std::vector<Bytes> digests;
  for (int i = 0; i < 2; ++i) {
    const std::size_t at = index + 16 + 40 * i;
    digests.emplace_back(file.begin() + at, file.begin() + at + 32);
    const std::int64_t offset = i64At(file, at + 32);
    EXPECT_GE(offset, 16);
    EXPECT_LT(offset, index);
  }
  EXPECT_LT(digests[0], digests[1]);
  EXPECT_EQ(commitMarks(), std::vector<std::string>{"commitmark.1"});
  EXPECT_EQ(readText(path("commitmark.1")), std::to_string(file.size()));
  EXPECT_EQ(contentOf(*store, {"/a", "/b", "/c"}), (Content{{"/a", 1}, {"/b", 20}}));
}

// Lengths read from a damaged file may be anything: a range that runs past
// the image, however far, is not in it (and computing that cannot overflow).
TEST(FileImageTest, ARangeBeyondTheImageIsAbsentWhateverItsLength) {
  const store::FileImage image(100, Bytes(64, 7));
  EXPECT_NE(image.bytesAt(100, 64), nullptr);
  EXPECT_EQ(image.bytesAt(100, 65), nullptr);
  EXPECT_EQ(image.bytesAt(108, INT64_MAX - 4), nullptr);
  EXPECT_EQ(image.bytesAt(INT64_MAX - 2, 8), nullptr);
  EXPECT_EQ(image.bytesAt(99, 1), nullptr);
  EXPECT_EQ(image.i64At(160), 0x07070707);  // half outside: zeros there
}

}  // namespace
}  // namespace vesk::tarnhive::testing
