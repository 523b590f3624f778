// TextFile: lines with either line end, truncation and flushing, failures
// and close-on-exec.
#include "vesk/orlo/osdep/TextFile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "support/FaultyOs.h"
#include "support/TempDirectory.h"
#include "vesk/orlo/osdep/GetFileSize.h"
#include "vesk/orlo/osdep/OSException.h"

namespace vesk::orlo::osdep {
namespace {

class TextFileTest : public ::testing::Test {
 protected:
  test::TempDirectory dir_;
  WideString path_ = dir_.wide("commitmark.1");
  TextFile file_;
};

TEST_F(TextFileTest, ReadsLinesWithoutTheirLineEnds) {
  std::ofstream(dir_.path("commitmark.1"), std::ios::binary) << "1234\r\nsecond\n\nlast";
  file_.open(path_, TextFile::kREAD);
  NarrowString line;
  for (const char* expected : {"1234", "second", "", "last"}) {
    ASSERT_TRUE(file_.readLine(line));
    EXPECT_EQ(line, NarrowString(expected));
  }
  EXPECT_FALSE(file_.readLine(line));
}

std::string gMode;
std::FILE* recordingFopen(const char* path, const char* mode) {
  gMode = mode;
  return std::fopen(path, mode);
}

TEST_F(TextFileTest, WriteTruncatesFlushReachesTheSystemAndFailuresCarryLine120) {
  test::ScopedSystemCall opens(&posix::SystemCalls::fopen, recordingFopen);
  EXPECT_EQ(file_.write("x"), -1);
  try {
    file_.open(path_, TextFile::kREAD);
    FAIL();
  } catch (const PosixError& e) {
    EXPECT_EQ(static_cast<int>(e.osErrorCode()), ENOENT);
    EXPECT_STREQ(e.sourceFile(), "vesk/orlo/osdep/TextFile");
    EXPECT_EQ(e.sourceLine(), 120u);
  }
  file_.open(path_, TextFile::kAPPENDUPDATE);
  EXPECT_NE(gMode.find('e'), std::string::npos) << "close-on-exec";
  EXPECT_EQ(file_.write("4096"), 4);
  file_.close();
  file_.open(path_, TextFile::kWRITE);
  EXPECT_EQ(file_.write("40"), 2);
  EXPECT_EQ(file_.flush(), 0);
  EXPECT_EQ(GetFileSize(path_), 2);
}

}  // namespace
}  // namespace vesk::orlo::osdep
