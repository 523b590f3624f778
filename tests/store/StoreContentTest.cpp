// What the store reads back: newest records win, deletions hide older
// records, records under a wrong digest or of length zero, an altered
// checksum, and the slots' status conventions. (Files cut short or with
// changed bytes are fuzzed in ManagerFuzzTest.)
#include "store/StoreFixture.h"

namespace vesk::tarnhive::testing {
namespace {

class StoreContentTest : public StoreFixture {};

const std::set<std::string> kNames = {"/a", "/b", "/c", "/d"};

TEST_F(StoreContentTest, NewestRecordWinsAndDeletionsHideOlderOnes) {
  auto store = openStore();
  ASSERT_EQ(commit(*store, {{"/a", 1}, {"/b", 2}, {"/c", 3}}), 0);
  ASSERT_EQ(commit(*store, {{"/a", 10}}), 0);
  ASSERT_EQ(commit(*store, {{"/d", 4}}, {"/b"}), 0);
  const Content expected{{"/a", 10}, {"/c", 3}, {"/d", 4}};
  EXPECT_EQ(contentOf(*store, kNames), expected);
  TarnhiveStatus status;
  EXPECT_FALSE(store->containsName(u"/b", &status));
  EXPECT_TRUE(store->containsName(u"/A", &status)) << "names ignore case";
  EXPECT_EQ(status.code, 0);
  EXPECT_EQ(contentOf(*openStore(), kNames), expected) << "after reopening";
}

TEST_F(StoreContentTest, ABucketWrittenAgainAfterItsDeletionIsLive) {
  auto store = openStore();
  ASSERT_EQ(commit(*store, {{"/a", 1}}), 0);
  ASSERT_EQ(commit(*store, {}, {"/a"}), 0);
  ASSERT_EQ(commit(*store, {{"/a", 2}}), 0);
  // A look-up of a name never stored walks the blocks and meets the older
  // deletion of /a, which must not hide it.
  TarnhiveStatus status;
  EXPECT_FALSE(store->containsName(u"/never", &status));
  EXPECT_EQ(contentOf(*store, {"/a"}), (Content{{"/a", 2}}));
  EXPECT_EQ(contentOf(*openStore(), {"/a"}), (Content{{"/a", 2}}));
}

TEST_F(StoreContentTest, RecordUnderAnotherBucketsDigestIsDamage) {
  { ASSERT_EQ(commit(*openStore(), {{"/+", 1}}), 0); }
  // The index entry of "/+" is made to carry the root's digest.
  Bytes file = readFile(path("registry.bin"));
  const std::int64_t entry = i64At(file, 8) + 16;
  const Digest root(orlo::WideString(u"/"));
  std::copy(root.bytes(), root.bytes() + Digest::kSize, file.begin() + entry);
  writeFile(path("registry.bin"), file);
  auto store = openStore();
  TarnhiveStatus status;
  EXPECT_EQ(store->loadBucketByName(u"/", &status), nullptr);
  EXPECT_EQ(status.code, kSTOREDAMAGED);
}

TEST_F(StoreContentTest, RecordOfLengthZeroIsAbsentButContained) {
  auto store = openStore();
  ASSERT_EQ(commit(*store, {{"/a", 1}, {"/b", 2}}), 0);
  store.reset();
  // Zero the length field of the first record ("/a").
  Bytes file = readFile(path("registry.bin"));
  for (int i = 16; i < 24; ++i) file[i] = 0;
  writeFile(path("registry.bin"), file);
  store = openStore();
  TarnhiveStatus status;
  EXPECT_EQ(store->loadBucketByName(u"/a", &status), nullptr);
  EXPECT_TRUE(store->containsName(u"/a", &status));
  EXPECT_EQ(status.code, 0);
  EXPECT_EQ(contentOf(*store, {"/b"}), (Content{{"/b", 2}}));
}

// The checksum of a block is written but not verified on loading.
TEST_F(StoreContentTest, AlteredChecksumStillLoads) {
  {
    auto store = openStore();
    ASSERT_EQ(commit(*store, {{"/a", 1}, {"/b", 2}}), 0);
    ASSERT_EQ(commit(*store, {{"/c", 3}}, {"/b"}), 0);
  }
  Bytes file = readFile(path("registry.bin"));
  const std::size_t checksum = file.size() - 56;
  for (std::size_t i = checksum; i < checksum + 32; ++i) file[i] ^= 0xA5;
  writeFile(path("registry.bin"), file);
  EXPECT_EQ(contentOf(*openStore(), kNames), (Content{{"/a", 1}, {"/c", 3}}));
}

TEST_F(StoreContentTest, SlotsFollowTheStatusConventions) {
  SingleFileBucketStore store(dir_.wide(), StoreLimits{});
  TarnhiveStatus status;
  EXPECT_EQ(store.loadBucketByName(u"/a", &status), nullptr);
  EXPECT_EQ(status.code, kSTOREMISSING);
  store.close(&status);  // harmless on a store never opened
  TarnhiveStatus fresh;
  store.open(0, &fresh);
  ASSERT_EQ(fresh.code, 0);
  store.open(0, &fresh);  // a second open changes nothing
  EXPECT_EQ(fresh.code, 0);
  EXPECT_EQ(commit(store, {}), 0);
  EXPECT_EQ(commitMarks(), std::vector<std::string>{"commitmark.1"}) << "empty commit writes nothing";
  TarnhiveStatus failedBefore;
  failedBefore.code = kOUTOFMEMORY;
  BucketsByName written;
  written[u"/a"].bucket = counterBucket("/a", 1);
  store.commit(written, {}, &failedBefore);
  EXPECT_EQ(failedBefore.code, kOUTOFMEMORY);
  EXPECT_EQ(readFile(path("registry.bin")).size(), 0u);
}

}  // namespace
}  // namespace vesk::tarnhive::testing
