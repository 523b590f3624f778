// Power cuts at every step of a commit, of a commit that compacts, of the
// first commit in a new directory, of an open that rebuilds a lost mark and
// of an open that cuts off an unfinished block, in both write modes. Each
// state the cut can leave (see support/posix/PowerCut.h) must open as the
// state before or after the run, and once the run has returned, as the state
// after it. TARNHIVE_POWER_CUT_DEPTH=deep searches more combinations.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "store/StoreFixture.h"
#include "support/posix/PowerCut.h"
#include "vesk/orlo/osdep/Path.h"

namespace vesk::tarnhive::testing {
namespace {

namespace fs = std::filesystem;
using test::DiskState;
using test::PowerCutRecorder;

const std::set<std::string> kNames = {"/a", "/b", "/c", "/big"};
const Content kOld{{"/a", 1}, {"/b", 2}};
const Content kNew{{"/a", 10}, {"/c", 3}};

PowerCutRecorder::Depth depth() {
  const char* value = std::getenv("TARNHIVE_POWER_CUT_DEPTH");
  return value != nullptr && std::string(value) == "deep" ? PowerCutRecorder::Depth::kDeep
                                                         : PowerCutRecorder::Depth::kQuick;
}

std::string summary(const DiskState& state) {
  if (!state) return "(no directory)";
  std::string text;
  for (const auto& [name, content] : *state) {
    text += name + ":" + std::to_string(content.size()) + " ";
  }
  return text;
}

class PowerCutFixture : public StoreFixture {
 protected:
  // Records `run` on `directory`, then opens every state a power cut could
  // leave and checks it holds `before` or `after` (only `after` once the
  // run has returned). Returns the recorder's counts for further checks.
  std::pair<std::size_t, std::size_t> expectOldOrNew(const std::string& directory,
                                                     const std::function<void()>& run,
                                                     const Content& before, const Content& after) {
    PowerCutRecorder recorder(directory);
    run();
    recorder.stop();
    if (std::getenv("TARNHIVE_POWER_CUT_STEPS") != nullptr) {
      for (std::size_t step = 0; step < recorder.steps(); ++step) {
        std::printf("%zu: %s (%zu states)\n", step, recorder.describe(step).c_str(),
                    recorder.statesAfter(step + 1, depth()).size());
      }
    }
    const std::string copy = scratch_.path("cut");
    std::size_t opened = 0;
    for (std::size_t step = 0; step <= recorder.steps(); ++step) {
      const bool returned = step == recorder.steps();
      for (const DiskState& state : recorder.statesAfter(step, depth())) {
        test::materialize(state, copy);
        Content content;
        if (state) {
          std::int32_t code = 0;
          auto store = openStoreAt(copy, limits(), &code);
          EXPECT_EQ(code, 0) << where(recorder, step, state);
          if (code != 0) continue;
          content = contentOf(*store, kNames);
          ++opened;
        }
        if (returned) {
          EXPECT_EQ(content, after) << where(recorder, step, state);
        } else {
          EXPECT_TRUE(content == before || content == after)
              << ::testing::PrintToString(content) << where(recorder, step, state);
        }
      }
    }
    EXPECT_GT(opened, recorder.steps());
    return {recorder.forcedWrites(), recorder.directoryChanges()};
  }

  static std::string where(const PowerCutRecorder& recorder, std::size_t step,
                           const DiskState& state) {
    std::string text = " after " + std::to_string(step) + " steps";
    if (step > 0) text += " (last: " + recorder.describe(step - 1) + ")";
    return text + ", files " + summary(state);
  }

  void twoBlocks() {
    auto store = openStore();
    ASSERT_EQ(commit(*store, {{"/a", 1}}), 0);
    ASSERT_EQ(commit(*store, {{"/b", 2}}), 0);
  }

  test::TempDirectory scratch_;
};

// Run in both write modes.
class StorePowerCutTest : public PowerCutFixture, public ::testing::WithParamInterface<bool> {
 protected:
  void SetUp() override { flushEveryWrite_ = GetParam(); }
};

class LiteralWriteModeTest : public PowerCutFixture {};

TEST_P(StorePowerCutTest, ACommitIsOldOrNewAndLastsOnceReturned) {
  twoBlocks();
  const auto [forced, directoryChanges] = expectOldOrNew(
      path(), [&] { ASSERT_EQ(commit(*openStore(), kNew, {"/b"}), 0); }, kOld, kNew);
  if (!flushEveryWrite_) {
    // The common commit: the block and the mark's digits, nothing else.
    EXPECT_EQ(forced, 2u);
    EXPECT_EQ(directoryChanges, 0u);
  }
}

TEST_P(StorePowerCutTest, ACommitWhoseEndGainsADigitWritesANewMark) {
  twoBlocks();
  const Content after{{"/a", 1}, {"/b", 2}, {"/big", 0}};
  expectOldOrNew(
      path(), [&] { ASSERT_EQ(commit(*openStore(), {{"/big", 0}}, {}, 1000), 0); }, kOld, after);
}

TEST_P(StorePowerCutTest, ACommitThatWrapsTheMarkNumberOutranksTheOldMark) {
  twoBlocks();
  fs::rename(path(commitMarks().at(0)), path("commitmark.4294967295"));
  const Content after{{"/a", 1}, {"/b", 2}, {"/big", 0}};
  expectOldOrNew(
      path(), [&] { ASSERT_EQ(commit(*openStore(), {{"/big", 0}}, {}, 1000), 0); }, kOld, after);
}

TEST_P(StorePowerCutTest, ACommitThatCompactsIsOldOrNew) {
  // Records of about 600 bytes and a limit of 1 KiB: the commit leaves the
  // file over the limit and compacts it.
  setDiskLimitKB(1);
  { ASSERT_EQ(commit(*openStore(), kOld, {}, 600), 0); }
  expectOldOrNew(
      path(), [&] { ASSERT_EQ(commit(*openStore(), kNew, {"/b"}, 600), 0); }, kOld, kNew);
}

TEST_P(StorePowerCutTest, TheFirstCommitOfANewDirectoryLasts) {
  const std::string fresh = path("fresh");
  expectOldOrNew(
      fresh,
      [&] {
        // As the manager does: the directory, then the store in it.
        orlo::osdep::path::createDirectories(wide(fresh));
        std::int32_t code = 0;
        auto store = openStoreAt(fresh, limits(), &code);
        ASSERT_EQ(code, 0);
        ASSERT_EQ(commit(*store, kNew), 0);
      },
      Content{}, kNew);
}

TEST_P(StorePowerCutTest, AnOpenThatRebuildsALostMarkKeepsTheContent) {
  twoBlocks();
  for (const std::string& mark : commitMarks()) fs::remove(path(mark));
  expectOldOrNew(path(), [&] { openStore(); }, kOld, kOld);
}

TEST_P(StorePowerCutTest, AnOpenThatCutsAnUnfinishedBlockKeepsTheContent) {
  twoBlocks();
  const Bytes whole = readFile(path("registry.bin"));
  Bytes longer = whole;
  longer.insert(longer.end(), whole.begin(), whole.begin() + 70);
  writeFile(path("registry.bin"), longer);
  expectOldOrNew(path(), [&] { openStore(); }, kOld, kOld);
}

// The literal mode writes the same bytes as the common one, and forces each
// piece before it writes the next.
TEST_F(LiteralWriteModeTest, ForcesEveryPieceOfTheSameBytesAsTheCommonMode) {
  flushEveryWrite_ = true;
  twoBlocks();
  {
    PowerCutRecorder recorder(path());
    ASSERT_EQ(commit(*openStore(), kNew, {"/b"}), 0);
    recorder.stop();
    std::size_t unforced = 0;
    std::size_t pieces = 0;
    for (std::size_t step = 0; step < recorder.steps(); ++step) {
      const std::string what = recorder.describe(step);
      if (what == "write registry.bin") {
        EXPECT_EQ(unforced, 0u) << "a piece written before the last was forced, at " << step;
        ++unforced;
        ++pieces;
      } else if (what == "force registry.bin") {
        unforced = 0;
      }
    }
    EXPECT_EQ(unforced, 0u);
    EXPECT_GT(pieces, 10u);
  }
  const Bytes literal = readFile(path("registry.bin"));
  fs::remove_all(path());
  fs::create_directories(path());
  flushEveryWrite_ = false;
  twoBlocks();
  ASSERT_EQ(commit(*openStore(), kNew, {"/b"}), 0);
  EXPECT_EQ(readFile(path("registry.bin")), literal);
}

INSTANTIATE_TEST_SUITE_P(WriteModes, StorePowerCutTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                           return info.param ? "FlushEveryWrite" : "OneFlushPerBlock";
                         });

}  // namespace
}  // namespace vesk::tarnhive::testing
