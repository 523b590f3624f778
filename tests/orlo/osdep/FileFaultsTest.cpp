// The fault seam of the file layer, as the crash and I/O-error loops use it:
// counting operations, failing the k-th one once, and ending a child process
// at each operation in turn.
#include "vesk/orlo/osdep/FileFaults.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/FaultyOs.h"
#include "support/TempDirectory.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/BinaryFile.h"
#include "vesk/orlo/osdep/OSException.h"
#include "vesk/orlo/osdep/Path.h"

namespace vesk::orlo::osdep {
namespace {

using test::FaultyOs;
namespace fs = std::filesystem;

constexpr std::uint32_t kCreateReadWrite =
    BinaryFile::kCREATE | BinaryFile::kTRUNCATE | BinaryFile::kREADWRITE;

// Five operations: open, write, flush, close, rename.
void writeAndPublish(const std::string& dir, const std::string& text) {
  const WideString work = toWide(NarrowString((dir + "/work").c_str()));
  BinaryFile file;
  file.open(work, kCreateReadWrite);
  if (file.write(text.data(), text.size()) == -1) throw PosixError();
  file.flush();
  file.close();
  path::rename(work, toWide(NarrowString((dir + "/published").c_str())));
}

// Arguments: the directory and the text.
TARNHIVE_CHILD_JOB(WriteAndPublish) { writeAndPublish(args.at(0), args.at(1)); }

class FileFaultsTest : public ::testing::Test {
 protected:
  void writeAndPublish(const char* text) { osdep::writeAndPublish(dir_.path(), text); }
  std::string read(const std::string& name) {
    std::ifstream in(dir_.path(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  test::TempDirectory dir_;
};

TEST_F(FileFaultsTest, CountsFileOperationsButNotQueries) {
  FaultyOs faults;
  writeAndPublish("v1");
  EXPECT_TRUE(path::exists(dir_.wide("published")));
  EXPECT_EQ(faults.operations(), 5u);
  EXPECT_EQ(test::countOperationsInChild({"WriteAndPublish", {dir_.path(), "v2"}}), 5u);
  EXPECT_EQ(faults.operations(), 5u) << "the child's operations are its own";
}

TEST_F(FileFaultsTest, OneShotFailureTakesTheRealErrorPathOnce) {
  FaultyOs faults;
  faults.failAt(3);  // the flush
  try {
    writeAndPublish("v1");
    FAIL();
  } catch (const PosixError& e) {
    EXPECT_EQ(e.osErrorCode(), std::uint32_t{EIO});
    EXPECT_STREQ(e.sourceFile(), "vesk/orlo/osdep/BinaryFile");
    EXPECT_EQ(e.sourceLine(), 444u);
  }
  EXPECT_TRUE(faults.reached());
  EXPECT_NO_THROW(writeAndPublish("v2")) << "a one-shot fault is over";

  faults.failAt(2, ENOSPC);  // the write reports through its result
  EXPECT_THROW(writeAndPublish("v3"), PosixError);
  EXPECT_EQ(read("published"), "v2");
}

// A child ends at its k-th operation, after the ones before it were made.
TEST_F(FileFaultsTest, CrashPointLoopVisitsEveryOperation) {
  std::vector<std::string> work;
  std::vector<bool> published;
  const std::uint64_t runs = test::forEachCrashPoint(
      [&] {
        fs::remove(dir_.path("work"));
        fs::remove(dir_.path("published"));
      },
      {"WriteAndPublish", {dir_.path(), "v1"}},
      [&](std::uint64_t k, const test::ChildExit& end) {
        EXPECT_EQ(end.crashed, k <= 5) << k;
        work.push_back(read("work"));
        published.push_back(fs::exists(dir_.path("published")));
      });
  EXPECT_EQ(runs, 6u);
  EXPECT_EQ(work, (std::vector<std::string>{"", "", "v1", "v1", "v1", ""}));
  EXPECT_EQ(published, (std::vector<bool>{false, false, false, false, false, true}));
}

}  // namespace
}  // namespace vesk::orlo::osdep
