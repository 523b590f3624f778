// A store catching up with what another store on the same directory
// committed: appended blocks read one by one, a compacted file taken up,
// the open that no longer compacts, and an I/O error at every operation of
// a catch-up.
#include "store/StoreFixture.h"
#include "vesk/orlo/StringConversion.h"
#include "support/FaultyOs.h"

namespace vesk::tarnhive::testing {
namespace {

const std::set<std::string> kNames = {"/a", "/b", "/c", "/big"};

class StoreRefreshTest : public StoreFixture {
 protected:
  // Catches `store` up; returns the code and, in `changes`, what it read.
  static std::int32_t refresh(SingleFileBucketStore& store,
                              std::vector<store::StoreChange>* changes = nullptr,
                              bool* replaced = nullptr) {
    std::vector<store::StoreChange> read;
    TarnhiveStatus status;
    store.refresh(true, true, read, replaced, &status);
    if (changes != nullptr) *changes = std::move(read);
    return status.code;
  }
  static std::vector<std::string> names(const std::vector<orlo::WideString>& wides) {
    std::vector<std::string> out;
    for (const auto& name : wides) out.push_back(orlo::toNarrow(name).c_str());
    return out;
  }
};

TEST_F(StoreRefreshTest, AppendedCommitsAreReadInOrderAndACompactionIsTakenUp) {
  auto reader = openStore();
  auto writer = openStore();
  // A large bucket keeps the dead bytes below half the file: no compaction
  // until it is asked for.
  ASSERT_EQ(commit(*writer, {{"/big", 0}}, {}, 4000), 0);
  ASSERT_EQ(commit(*writer, {{"/a", 1}, {"/b", 2}}), 0);
  ASSERT_EQ(commit(*writer, {{"/a", 3}}, {"/b"}), 0);
  std::vector<store::StoreChange> changes;
  bool replaced = true;
  ASSERT_EQ(refresh(*reader, &changes, &replaced), 0);
  EXPECT_FALSE(replaced);
  ASSERT_EQ(changes.size(), 3u);
  EXPECT_EQ(names(changes[1].written), (std::vector<std::string>{"/a", "/b"}));
  EXPECT_EQ(names(changes[2].written), std::vector<std::string>{"/a"});
  EXPECT_EQ(names(changes[2].deleted), std::vector<std::string>{"/b"});
  EXPECT_EQ(contentOf(*reader, kNames), (Content{{"/a", 3}, {"/big", 0}}));
  // Current until the writer commits again: one look at the shared sequence.
  EXPECT_TRUE(reader->isCurrent());
  ASSERT_EQ(commit(*writer, {{"/a", 3}}), 0);
  EXPECT_FALSE(reader->isCurrent());

  // The writer compacts and commits again: the reader loads the new file and
  // reports the difference as one net change.
  TarnhiveStatus status;
  writer->compactNow(&status);
  ASSERT_EQ(status.code, 0);
  ASSERT_EQ(commit(*writer, {{"/c", 4}}), 0);
  ASSERT_EQ(refresh(*reader, &changes, &replaced), 0);
  EXPECT_TRUE(replaced);
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_TRUE(changes[0].net);
  EXPECT_EQ(names(changes[0].written), std::vector<std::string>{"/c"});
  EXPECT_EQ(contentOf(*reader, kNames), (Content{{"/a", 3}, {"/big", 0}, {"/c", 4}}));
  // The reader's own commit follows on from what it caught up with.
  ASSERT_EQ(commit(*reader, {{"/b", 5}}), 0);
  EXPECT_EQ(contentOf(*openStore(), kNames),
            (Content{{"/a", 3}, {"/b", 5}, {"/big", 0}, {"/c", 4}}));
}

TEST_F(StoreRefreshTest, OpenLoadsSeveralBlocksWithoutCompactingThem) {
  {
    auto store = openStore();
    ASSERT_EQ(commit(*store, {{"/big", 0}}, {}, 4000), 0);
    ASSERT_EQ(commit(*store, {{"/a", 1}}), 0);
    ASSERT_EQ(commit(*store, {}, {"/a"}), 0);
    // Written again after its deletion, in a later block: live.
    ASSERT_EQ(commit(*store, {{"/a", 2}}), 0);
  }
  const auto size = std::filesystem::file_size(path("registry.bin"));
  auto store = openStore();
  EXPECT_EQ(std::filesystem::file_size(path("registry.bin")), size);
  EXPECT_EQ(commitMarks().size(), 1u);
  EXPECT_EQ(readText(path(commitMarks().at(0))), std::to_string(size));
  EXPECT_EQ(contentOf(*store, kNames), (Content{{"/a", 2}, {"/big", 0}}));
}

TEST_F(StoreRefreshTest, AnIoErrorWhileCatchingUpIsReportedAndTheNextCatchUpRecovers) {
  auto writer = openStore();
  ASSERT_EQ(commit(*writer, {{"/big", 0}}, {}, 4000), 0);
  for (std::uint64_t k = 1;; ++k) {
    auto reader = openStore();
    ASSERT_EQ(commit(*writer, {{"/a", static_cast<std::int32_t>(k)}}, {"/b"}), 0);
    std::int32_t code = 0;
    bool reached = false;
    {
      test::FaultyOs faults;
      faults.failAt(k);
      code = refresh(*reader);
      reached = faults.reached();
    }
    EXPECT_TRUE(code == 0 || code == kOSERROR) << "fault at operation " << k << ": " << code;
    ASSERT_EQ(refresh(*reader), 0) << "after a fault at operation " << k;
    EXPECT_EQ(contentOf(*reader, kNames),
              (Content{{"/a", static_cast<std::int32_t>(k)}, {"/big", 0}}))
        << "after a fault at operation " << k;
    if (!reached) {
      EXPECT_GT(k, 3u) << "a catch-up makes file operations";
      break;
    }
    ASSERT_LT(k, 200u);
  }
}

}  // namespace
}  // namespace vesk::tarnhive::testing
