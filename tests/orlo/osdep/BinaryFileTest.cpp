// BinaryFile: its failures and closed state, and the retries and
// close-on-exec flag of its system calls. (Writing, reading, seeking and
// cutting short are what every store test does.)
#include "vesk/orlo/osdep/BinaryFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/FaultyOs.h"
#include "support/TempDirectory.h"
#include "vesk/orlo/osdep/OSException.h"

namespace vesk::orlo::osdep {
namespace {

constexpr std::uint32_t kCreateReadWrite =
    BinaryFile::kCREATE | BinaryFile::kTRUNCATE | BinaryFile::kREADWRITE;

// The errno and line of the PosixError that `action` throws.
template <class Action>
std::pair<int, std::uint32_t> failure(Action&& action) {
  try {
    action();
  } catch (const PosixError& e) {
    EXPECT_STREQ(e.sourceFile(), "vesk/orlo/osdep/BinaryFile");
    return {static_cast<int>(e.osErrorCode()), e.sourceLine()};
  }
  ADD_FAILURE() << "no PosixError";
  return {0, 0};
}

class BinaryFileTest : public ::testing::Test {
 protected:
  test::TempDirectory dir_;
  WideString path_ = dir_.wide("registry.bin");
  BinaryFile file_;
};

TEST_F(BinaryFileTest, FailuresAndTheClosedState) {
  EXPECT_EQ(failure([&] { file_.open(path_, BinaryFile::kREADWRITE); }),
            std::make_pair(ENOENT, 239u));
  char byte = 0;
  EXPECT_EQ(file_.read(&byte, 1), -1);
  EXPECT_EQ(file_.seek(0, BinaryFile::kFROM_START), -1);
  EXPECT_NO_THROW(file_.setSize(10));
  EXPECT_NO_THROW(file_.flush());

  file_.open(path_, kCreateReadWrite);
  EXPECT_EQ(failure([&] { file_.open(path_, kCreateReadWrite); }), std::make_pair(EINVAL, 239u));
  EXPECT_EQ(file_.write("x", 1), 1) << "the failed second open leaves the first one usable";
  EXPECT_THROW(file_.write(&byte, std::size_t{1} << 32), exception::OutOfRange);
  file_.close();
  file_.open(path_, BinaryFile::kREAD);
  EXPECT_EQ(file_.write(&byte, 1), -1);
  EXPECT_EQ(failure([&] { file_.setSize(4); }).second, 467u);
}

// Every other call is interrupted; the others move at most 3 bytes.
template <class Buffer, ssize_t (*Real)(int, Buffer, size_t)>
ssize_t stuttering(int fd, Buffer buffer, size_t count) {
  static bool interrupt = false;
  interrupt = !interrupt;
  if (interrupt) {
    errno = EINTR;
    return -1;
  }
  return Real(fd, buffer, count > 3 ? 3 : count);
}

int gOpenFlags = 0;
int recordingOpen(const char* path, int flags, mode_t mode) {
  gOpenFlags = flags;
  return ::open(path, flags, mode);
}

TEST_F(BinaryFileTest, RetriesInterruptedAndShortTransfersAndClosesOnExec) {
  test::ScopedSystemCall writes(&posix::SystemCalls::write, stuttering<const void*, ::write>);
  test::ScopedSystemCall reads(&posix::SystemCalls::read, stuttering<void*, ::read>);
  test::ScopedSystemCall opens(&posix::SystemCalls::open, recordingOpen);
  file_.open(path_, kCreateReadWrite);
  EXPECT_TRUE(gOpenFlags & O_CLOEXEC);
  EXPECT_EQ(file_.write("0123456789", 10), 10);
  file_.seek(0, BinaryFile::kFROM_START);
  char buffer[11] = {};
  EXPECT_EQ(file_.read(buffer, 10), 10);
  EXPECT_STREQ(buffer, "0123456789");
}

}  // namespace
}  // namespace vesk::orlo::osdep
