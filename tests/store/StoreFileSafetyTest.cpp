// The files the store writes in a directory that others may write too: it
// never writes through a link planted under one of its names, and the files
// a compaction or a commit puts in place keep the permissions of those they
// replace, so a registry shared between users stays shared.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "store/StoreFixture.h"

namespace vesk::tarnhive::testing {
namespace {

namespace fs = std::filesystem;

class StoreFileSafetyTest : public StoreFixture {
 protected:
  // A registry of two blocks.
  void makeTwoBlocks() {
    auto store = openStore();
    ASSERT_EQ(commit(*store, {{"/a", 1}}), 0);
    ASSERT_EQ(commit(*store, {{"/b", 2}}), 0);
  }
  static unsigned permissions(const std::string& file) {
    struct stat status {};
    EXPECT_EQ(::stat(file.c_str(), &status), 0) << file;
    return status.st_mode & 0777;
  }
  test::TempDirectory elsewhere_;
};

TEST_F(StoreFileSafetyTest, NoWriteGoesThroughAPlantedLink) {
  setDiskLimitKB(1);
  makeTwoBlocks();
  auto store = openStore();
  TarnhiveStatus status;
  store->compactNow(&status);
  ASSERT_EQ(commitMarks(), std::vector<std::string>{"commitmark.1"});
  // Planted while the store is open: the next commit's mark, and the files
  // of the compaction that the commit's size starts.
  const std::string victim = elsewhere_.path("victim");
  std::ofstream(victim) << "victim";
  fs::create_symlink(victim, path("commitmark.2"));
  fs::create_symlink(victim, path("newCommitmark"));
  fs::create_symlink(elsewhere_.path("dangling"), path("registry.bin.1"));
  ASSERT_EQ(commit(*store, {{"/c", 3}}, {}, 1000), 0);
  EXPECT_EQ(readText(victim), "victim");
  EXPECT_FALSE(fs::exists(elsewhere_.path("dangling")));
  for (const auto& entry : fs::directory_iterator(path())) {
    EXPECT_FALSE(fs::is_symlink(entry.symlink_status())) << entry.path();
  }
  EXPECT_EQ(contentOf(*openStore(), {"/a", "/b", "/c"}),
            (Content{{"/a", 1}, {"/b", 2}, {"/c", 3}}));
}

// "registry.bin" is written in place: as a link it is refused with the OS
// error, and the file it points at is left alone.
TEST_F(StoreFileSafetyTest, ARegistryFileThatIsALinkIsRefused) {
  makeTwoBlocks();
  fs::rename(path("registry.bin"), elsewhere_.path("registry.bin"));
  fs::create_symlink(elsewhere_.path("registry.bin"), path("registry.bin"));
  const Bytes before = readFile(elsewhere_.path("registry.bin"));
  std::int32_t code = 0;
  openStore(&code);
  EXPECT_EQ(code, kOSERROR);
  EXPECT_EQ(readFile(elsewhere_.path("registry.bin")), before);
  EXPECT_TRUE(fs::is_symlink(fs::symlink_status(path("registry.bin"))));
}

TEST_F(StoreFileSafetyTest, ReplacedFilesKeepTheirPermissions) {
  makeTwoBlocks();
  ::chmod(path("registry.bin").c_str(), 0666);
  ::chmod(path(commitMarks().at(0)).c_str(), 0666);
  const mode_t saved = ::umask(077);
  {
    auto store = openStore();
    TarnhiveStatus status;
    store->compactNow(&status);
    EXPECT_EQ(permissions(path("registry.bin")), 0666u);
    EXPECT_EQ(permissions(path("commitmark.1")), 0666u);
    // A commit whose end has a digit more than the mark: a new mark.
    ASSERT_EQ(commit(*store, {{"/c", 3}}, {}, 1000), 0);
    ASSERT_EQ(commitMarks(), std::vector<std::string>{"commitmark.2"});
    EXPECT_EQ(permissions(path("commitmark.2")), 0666u);
  }
  ::umask(saved);
}

}  // namespace
}  // namespace vesk::tarnhive::testing
