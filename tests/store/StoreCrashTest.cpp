// Crashes and I/O errors at every file operation of a commit, of the
// compaction, and of an open that repairs a file set. After
// each, a fresh store must open and hold the old or the new content, with the
// file set back to one registry file and one commit mark.
#include <filesystem>

#include "store/StoreFixture.h"
#include "support/FaultyOs.h"

namespace vesk::tarnhive::testing {
namespace {

namespace fs = std::filesystem;

const std::set<std::string> kNames = {"/a", "/b", "/c", "/d"};

const Content kOld{{"/a", 1}, {"/b", 2}};
const Content kNew{{"/a", 10}, {"/c", 3}};

// The jobs of the crashing children. Their first arguments name the store:
// directory, size limit in KiB, and "1" for the literal write mode.
std::unique_ptr<SingleFileBucketStore> openStoreOf(const test::ChildArgs& args) {
  StoreLimits limits;
  limits.diskLimitKB = std::stoi(args.at(1));
  limits.flushEveryWrite = args.at(2) == "1";
  std::int32_t code = 0;
  return StoreFixture::openStoreAt(args.at(0), limits, &code);
}

TARNHIVE_CHILD_JOB(StoreOpen) { openStoreOf(args); }

// Compacts the file on demand, as `tarnhive compact` has it done.
TARNHIVE_CHILD_JOB(StoreCompact) {
  TarnhiveStatus status;
  openStoreOf(args)->compactNow(&status);
  if (failed(&status)) throw std::runtime_error("compaction");
}

// Commits kNew and deletes "/b"; with a record padding in args[3] the commit
// must also compact the file.
TARNHIVE_CHILD_JOB(StoreCommitNew) {
  const std::size_t padding = std::stoul(args.at(3));
  auto store = openStoreOf(args);
  if (StoreFixture::commit(*store, kNew, {"/b"}, padding) != 0) throw std::runtime_error("commit");
  if (padding > 0 && std::filesystem::exists(args.at(0) + "/commitmark.2")) {
    throw std::runtime_error("not compacted");
  }
}

// Run in both write modes: one write and one flush per block, and a flush
// after every piece.
class StoreCrashTest : public StoreFixture, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override { flushEveryWrite_ = GetParam(); }

  // Saves the directory as it stands, to restore before every run.
  void snapshot() {
    fs::remove_all(saved_.path("files"));
    fs::create_directory(saved_.path("files"));
    for (const auto& entry : fs::directory_iterator(path())) {
      fs::copy_file(entry.path(), saved_.path("files/" + entry.path().filename().string()));
    }
  }
  void restore() {
    for (const auto& entry : fs::directory_iterator(path())) fs::remove(entry.path());
    for (const auto& entry : fs::directory_iterator(saved_.path("files"))) {
      fs::copy_file(entry.path(), path(entry.path().filename().string()));
    }
  }

  // Reopens the directory and checks that it holds one of `allowed` and a
  // clean file set: one registry file of the length its one mark names.
  void expectRecovered(const std::vector<Content>& allowed, std::uint64_t k) {
    auto store = openStore();
    const Content content = contentOf(*store, kNames);
    EXPECT_NE(std::find(allowed.begin(), allowed.end(), content), allowed.end())
        << "unexpected content after a fault at operation " << k;
    const std::vector<std::string> marks = commitMarks();
    ASSERT_EQ(marks.size(), 1u) << "at operation " << k << ": " << ::testing::PrintToString(marks);
    EXPECT_EQ(std::to_string(fs::file_size(path("registry.bin"))), readText(path(marks[0])))
        << "at operation " << k;
    EXPECT_FALSE(fs::exists(path("registry.bin.1"))) << k;
    EXPECT_FALSE(fs::exists(path("registry.bin.2"))) << k;
  }

  void commitWithAnIoErrorAtEveryOperation(const Content& start, std::size_t padding);

  // Two blocks, kOld and then kNew: the next open compacts them.
  // Two blocks: large new records keep the dead bytes below half the file,
  // so the second commit does not compact it.
  void commitOldThenNew() {
    auto store = openStore();
    ASSERT_EQ(commit(*store, kOld), 0);
    ASSERT_EQ(commit(*store, kNew, {"/b"}, 600), 0);
  }

  // Crashes `job` at every operation in turn; after each crash the directory
  // must hold one of `allowed`. Returns the number of runs.
  std::uint64_t crashAtEveryOperation(const test::ChildJob& job,
                                      const std::vector<Content>& allowed) {
    snapshot();
    return test::forEachCrashPoint([&] { restore(); }, job,
                                   [&](std::uint64_t k, const test::ChildExit& end) {
                                     EXPECT_TRUE(end.crashed || end.completed) << k;
                                     expectRecovered(allowed, k);
                                   });
  }

  // A child job on this test's store.
  test::ChildJob storeJob(const char* name, test::ChildArgs more = {}) const {
    test::ChildJob job{name, {path(), std::to_string(diskLimitKB_), flushEveryWrite_ ? "1" : "0"}};
    job.args.insert(job.args.end(), more.begin(), more.end());
    return job;
  }

  test::TempDirectory saved_;
};

TEST_P(StoreCrashTest, CommitCrashedAtEveryOperationLeavesOldOrNew) {
  { ASSERT_EQ(commit(*openStore(), kOld), 0); }
  EXPECT_GT(crashAtEveryOperation(storeJob("StoreCommitNew", {"0"}), {kOld, kNew}), 20u);
}

TEST_P(StoreCrashTest, CompactionCrashedAtEveryOperationKeepsTheContent) {
  commitOldThenNew();
  EXPECT_GT(crashAtEveryOperation(storeJob("StoreCompact"), {kNew}), 20u);
}

TEST_P(StoreCrashTest, CompactingCommitCrashedAtEveryOperationLeavesOldOrNew) {
  // Records of about 600 bytes and a limit of 1 KiB: the second commit
  // leaves the file over the limit and compacts it.
  setDiskLimitKB(1);
  { ASSERT_EQ(commit(*openStore(), kOld, {}, 600), 0); }
  EXPECT_GT(crashAtEveryOperation(storeJob("StoreCommitNew", {"600"}), {kOld, kNew}), 30u);
}

// Fails every file operation of a commit of kNew over `start` in turn. The
// commit either stands or reports the failure, and the same store goes on:
// its next commit succeeds, and a fresh store finds both.
void StoreCrashTest::commitWithAnIoErrorAtEveryOperation(const Content& start,
                                                         std::size_t padding) {
  { ASSERT_EQ(commit(*openStore(), start, {}, padding), 0); }
  snapshot();
  const Content kNext{{"/d", 4}};
  for (std::uint64_t k = 1;; ++k) {
    restore();
    std::int32_t code = 0;
    bool reached = false;
    auto store = openStore();
    {
      test::FaultyOs faults;
      faults.failAt(k);
      code = commit(*store, {{"/a", 10}, {"/c", 3}}, {"/b"}, padding);
      reached = faults.reached();
    }
    // A fault that hit a close reports nothing: the commit stands.
    EXPECT_TRUE(code == 0 || code == kOSERROR) << "fault at operation " << k << ": " << code;
    ASSERT_EQ(commit(*store, kNext, {}, padding), 0) << "the store goes on after operation " << k;
    // A commit that reports a failure did not happen; only a compaction
    // past the size limit, which follows a commit that stands, reports its
    // failure with the commit's code.
    const bool compacts = padding > 0;
    std::vector<Content> allowed;
    for (Content content : {start, kNew}) {
      if (code == 0 && content == start) continue;
      if (code != 0 && !compacts && content == kNew) continue;
      content.insert(kNext.begin(), kNext.end());
      allowed.push_back(content);
    }
    EXPECT_NE(std::find(allowed.begin(), allowed.end(), contentOf(*store, kNames)), allowed.end())
        << "at operation " << k;
    store.reset();
    expectRecovered(allowed, k);
    if (!reached) break;
    ASSERT_LT(k, 500u);
  }
}

TEST_P(StoreCrashTest, CommitWithAnIoErrorAtEveryOperationLosesNothing) {
  commitWithAnIoErrorAtEveryOperation(kOld, 0);
}

TEST_P(StoreCrashTest, FirstCommitWithAnIoErrorAtEveryOperationLosesNothing) {
  // On a new file set the mark in force is rewritten in place.
  commitWithAnIoErrorAtEveryOperation({}, 0);
}

TEST_P(StoreCrashTest, CompactingCommitWithAnIoErrorAtEveryOperationLosesNothing) {
  // Up to the switch a failure takes it back; after it the new file is in
  // force and the store takes it up at its next operation.
  setDiskLimitKB(1);
  commitWithAnIoErrorAtEveryOperation(kOld, 600);
}

TEST_P(StoreCrashTest, CompactionWithAnIoErrorAtEveryOperationLosesNothing) {
  commitOldThenNew();
  snapshot();
  for (std::uint64_t k = 1;; ++k) {
    restore();
    std::int32_t code = 0;
    bool reached = false;
    {
      auto store = openStore();
      test::FaultyOs faults;
      faults.failAt(k);
      TarnhiveStatus status;
      store->compactNow(&status);
      code = status.code;
      reached = faults.reached();
    }
    // The compaction reports the failure or, when it failed before its
    // switch, falls back to the uncompacted file; either way nothing is lost.
    EXPECT_TRUE(code == 0 || code == kOSERROR) << "fault at operation " << k << ": " << code;
    // A failed compaction leaves none of its files to hold the disk's space.
    if (code != 0) {
      EXPECT_FALSE(fs::exists(path("registry.bin.1"))) << k;
      EXPECT_FALSE(fs::exists(path("newCommitmark"))) << k;
    }
    expectRecovered({kNew}, k);
    if (!reached) break;
    ASSERT_LT(k, 500u);
  }
}

TEST_P(StoreCrashTest, RepairingOpenCrashedAtEveryOperationStillRepairs) {
  // A file set left by a crash right after the first rename of a switch.
  commitOldThenNew();
  const std::string oldMark = commitMarks().at(0);
  fs::copy_file(path("registry.bin"), saved_.path("old"));
  const std::string oldMarkText = readText(path(oldMark));
  {
    TarnhiveStatus status;
    openStore()->compactNow(&status);
  }
  fs::rename(path("registry.bin"), path("registry.bin.1"));
  fs::rename(path("commitmark.1"), path("newCommitmark"));
  fs::copy_file(saved_.path("old"), path("registry.bin.2"));
  std::ofstream(path(oldMark)) << oldMarkText;
  snapshot();
  test::forEachCrashPoint([&] { restore(); }, storeJob("StoreOpen"),
                          [&](std::uint64_t k, const test::ChildExit&) {
                            expectRecovered({kNew}, k);
                          });
}

INSTANTIATE_TEST_SUITE_P(WriteModes, StoreCrashTest, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& mode) {
                           return std::string(mode.param ? "FlushEveryWrite" : "OneFlushPerBlock");
                         });

}  // namespace
}  // namespace vesk::tarnhive::testing
