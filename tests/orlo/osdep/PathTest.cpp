// Paths: existence, deletion, renaming (also across file systems) and
// directory creation. (Joining is what every file name of the store goes
// through.)
#include "vesk/orlo/osdep/Path.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/FaultyOs.h"
#include "support/TempDirectory.h"
#include "vesk/orlo/osdep/OSException.h"

namespace vesk::orlo::osdep::path {
namespace {

namespace fs = std::filesystem;

// The errno (0 for InvalidArgument) and line of what `action` throws.
template <class Action>
std::pair<int, std::uint32_t> failure(Action&& action) {
  try {
    action();
  } catch (const PosixError& e) {
    return {static_cast<int>(e.osErrorCode()), e.sourceLine()};
  } catch (const exception::InvalidArgument& e) {
    return {0, e.sourceLine()};
  }
  ADD_FAILURE() << "nothing thrown";
  return {-1, 0};
}

class PathTest : public ::testing::Test {
 protected:
  void write(const std::string& name, const std::string& text) {
    std::ofstream(dir_.path(name), std::ios::binary) << text;
  }
  std::string read(const std::string& name) {
    std::ifstream in(dir_.path(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  test::TempDirectory dir_;
};

TEST_F(PathTest, ExistsIsTrueForFilesOnlyAndFollowsLinks) {
  write("file", "x");
  fs::create_directory(dir_.path("sub"));
  fs::create_symlink(dir_.path("file"), dir_.path("link"));
  fs::create_symlink(dir_.path("gone"), dir_.path("dangling"));
  EXPECT_TRUE(exists(dir_.wide("link")));
  EXPECT_FALSE(exists(dir_.wide("dangling")));
  EXPECT_FALSE(exists(dir_.wide("sub")));
  EXPECT_TRUE(isDirectory(dir_.wide("sub")));
  const WChar withZero[] = {u'a', 0, u'b'};
  EXPECT_EQ(failure([&] { exists(WideString(withZero, 3)); }), std::make_pair(0, 980u));
}

TEST_F(PathTest, DeleteRemovesFilesAndLinksAndFailsOnMissingOnes) {
  write("readonly", "x");
  ::chmod(dir_.path("readonly").c_str(), 0444);
  EXPECT_TRUE(deleteFile(dir_.wide("readonly")));
  fs::create_directory(dir_.path("sub"));
  fs::create_directory_symlink(dir_.path("sub"), dir_.path("sublink"));
  EXPECT_TRUE(deleteFile(dir_.wide("sublink")));
  EXPECT_TRUE(fs::is_directory(dir_.path("sub"))) << "only the link goes";

  EXPECT_EQ(failure([&] { deleteFile(dir_.wide("readonly")); }), std::make_pair(ENOENT, 1063u));
  EXPECT_FALSE(deleteFile(dir_.wide("readonly"), true));
  EXPECT_EQ(failure([] { deleteFile(u""); }), std::make_pair(0, 1038u));
}

TEST_F(PathTest, RenameReplacesAnExistingTarget) {
  write("newCommitmark", "new");
  write("commitmark.1", "old");
  rename(dir_.wide("newCommitmark"), dir_.wide("commitmark.1"));
  EXPECT_EQ(read("commitmark.1"), "new");
  EXPECT_FALSE(fs::exists(dir_.path("newCommitmark")));
  EXPECT_EQ(failure([&] { rename(dir_.wide("newCommitmark"), dir_.wide("x")); }),
            std::make_pair(ENOENT, 1241u));
  EXPECT_EQ(failure([&] { rename(u"", dir_.wide("x")); }), std::make_pair(0, 1226u));
}

// Renames other than the final one of a copy fail as across file systems.
int crossDeviceRename(const char* from, const char* to) {
  if (std::string(from).ends_with(".moving")) return ::rename(from, to);
  errno = EXDEV;
  return -1;
}

int gOpensWithoutCloexec = 0;
int checkingOpen(const char* path, int flags, mode_t mode) {
  if (!(flags & O_CLOEXEC)) ++gOpensWithoutCloexec;
  return ::open(path, flags, mode);
}

ssize_t diskFullWrite(int, const void*, size_t) {
  errno = ENOSPC;
  return -1;
}

TEST_F(PathTest, RenameAcrossFileSystemsCopiesOrLeavesBothFilesAlone) {
  test::ScopedSystemCall renames(&posix::SystemCalls::rename, crossDeviceRename);
  test::ScopedSystemCall opens(&posix::SystemCalls::open, checkingOpen);
  write("registry.bin", std::string(200000, 'r'));
  ::chmod(dir_.path("registry.bin").c_str(), 0640);
  write("registry.bin.2", "old");
  rename(dir_.wide("registry.bin"), dir_.wide("registry.bin.2"));
  EXPECT_EQ(read("registry.bin.2"), std::string(200000, 'r'));
  EXPECT_EQ(fs::status(dir_.path("registry.bin.2")).permissions(),
            fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  EXPECT_FALSE(fs::exists(dir_.path("registry.bin")));
  EXPECT_EQ(gOpensWithoutCloexec, 0);

  test::ScopedSystemCall writes(&posix::SystemCalls::write, diskFullWrite);
  write("from", "source");
  EXPECT_EQ(failure([&] { rename(dir_.wide("from"), dir_.wide("registry.bin.2")); }),
            std::make_pair(ENOSPC, 1241u));
  EXPECT_EQ(read("from"), "source");
  EXPECT_EQ(read("registry.bin.2"), std::string(200000, 'r'));
  EXPECT_FALSE(fs::exists(dir_.path("registry.bin.2.moving")));
}

TEST_F(PathTest, CreateDirectoriesMakesMissingParents) {
  createDirectories(dir_.wide("a/b/c"));
  EXPECT_TRUE(fs::is_directory(dir_.path("a/b/c")));
  EXPECT_NO_THROW(createDirectories(dir_.wide("a/b/c/")));
  write("file", "x");
  EXPECT_EQ(failure([&] { createDirectories(dir_.wide("file/sub")); }),
            std::make_pair(ENOTDIR, 1124u));
}

}  // namespace
}  // namespace vesk::orlo::osdep::path
