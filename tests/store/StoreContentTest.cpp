// What the store reads back: newest records win, deletions hide older
// records, empty records are absent, compaction keeps exactly the live data,
// and the slots' status conventions.
#include "store/IndexLoader.h"
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

TEST_F(StoreContentTest, FullLoadOfThreeBlocksReadsNewestFirst) {
  auto store = openStore();
  ASSERT_EQ(commit(*store, {{"/a", 1}, {"/b", 2}}), 0);
  ASSERT_EQ(commit(*store, {{"/a", 10}}), 0);
  ASSERT_EQ(commit(*store, {{"/c", 3}}, {"/b"}), 0);
  // Load the index of the three blocks as they stand, without the compaction
  // that an open would run first.
  store::StoreState state;
  state.directory = dir_.wide();
  state.validEnd = std::stoll(readText(path("commitmark.3")));
  state.file.open(dir_.wide("registry.bin"), orlo::osdep::BinaryFile::kREADWRITE);
  store::loadIndex(state);
  EXPECT_EQ(state.blockCount, 2u);
  EXPECT_EQ(state.blockTable.size(), 3u);
  EXPECT_EQ(state.liveIndex.at(Digest(wide("/a"))).blockNumber, 1u);
  EXPECT_EQ(state.liveIndex.at(Digest(wide("/c"))).blockNumber, 0u);
  EXPECT_EQ(state.liveIndex.count(Digest(wide("/b"))), 0u);
  EXPECT_EQ(state.deletedSet.count(Digest(wide("/b"))), 1u);
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

TEST_F(StoreContentTest, CommitOverTheDiskLimitCompacts) {
  setDiskLimitKB(1);
  auto store = openStore();
  ASSERT_EQ(commit(*store, {{"/a", 1}}, {}, 600), 0);
  EXPECT_FALSE(store->isOverDiskLimit());
  ASSERT_EQ(commit(*store, {{"/b", 2}}, {}, 600), 0);
  // Two 600-byte records exceed 1 KB: the file was compacted into one block
  // and is still over the limit.
  EXPECT_TRUE(store->isOverDiskLimit());
  EXPECT_EQ(commitMarks(), std::vector<std::string>{"commitmark.1"});
  const Bytes file = readFile(path("registry.bin"));
  EXPECT_EQ(i64At(file, file.size() - 24), 0) << "a single block starting at 0";
  EXPECT_EQ(contentOf(*store, {"/a", "/b"}), (Content{{"/a", 1}, {"/b", 2}}));
  ASSERT_EQ(commit(*store, {{"/c", 3}}), 0);
  EXPECT_EQ(commitMarks(), std::vector<std::string>{"commitmark.1"}) << "compacted again";
  EXPECT_EQ(contentOf(*openStore(), {"/a", "/b", "/c"}),
            (Content{{"/a", 1}, {"/b", 2}, {"/c", 3}}));
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
