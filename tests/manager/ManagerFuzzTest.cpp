// Damaged registry directories, made by mutating a good one at random (fixed
// seed): bytes changed, files cut short or lengthened, commit marks
// rewritten. A manager built on each must either fail with a code or work:
// read the tree, write and commit a bucket, read again. It never crashes,
// loops or reads out of bounds (run under the sanitizers).
#include <algorithm>
#include <filesystem>
#include <random>

#include "bucket/Bucket.h"
#include "manager/ManagerFixture.h"

namespace vesk::tarnhive::testing {
namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<char>;

Bytes readAll(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeAll(const fs::path& file, const Bytes& bytes) {
  std::ofstream(file, std::ios::binary | std::ios::trunc)
      .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

class ManagerFuzzTest : public ManagerFixture {
 protected:
  // The registry directories on a memory file system where there is one:
  // the loop flushes thousands of files.
  void SetUp() override {
    ManagerFixture::SetUp();
    work_ = scratch_.path();
    if (fs::is_directory("/dev/shm")) {
      work_ = fs::path("/dev/shm") / ("tarnhive-fuzz-" + std::to_string(std::random_device()()));
      fs::create_directories(work_);
    }
  }
  void TearDown() override {
    if (work_ != scratch_.path()) fs::remove_all(work_);
    ManagerFixture::TearDown();
  }

  RefPtr<BucketManager> managerOn(const fs::path& directory, TarnhiveStatus* status) {
    std::ofstream(config_.path("options.ini")) << "[Tarnhive]\n" << options_;
    return RefPtr<BucketManager>(
        new BucketManager(wide(directory.string()), config_.wide("options.ini"), status));
  }

  test::TempDirectory scratch_;
  fs::path work_;
};

// One damage of the registry file or of its mark.
void mutate(const fs::path& directory, std::mt19937& random) {
  auto below = [&](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); };
  const fs::path registry = directory / "registry.bin";
  Bytes file = readAll(registry);
  auto i64At = [&](std::size_t at) {
    std::uint64_t v = 0;
    for (int i = 7; i >= 0; --i) v = (v << 8) | static_cast<unsigned char>(file.at(at + i));
    return v;
  };
  switch (below(7)) {
    case 0:
    case 1:
    case 2:  // a few bytes changed
      for (std::size_t n = 1 + below(4); n > 0 && !file.empty(); --n) {
        file[below(file.size())] = static_cast<char>(below(256));
      }
      break;
    case 3:  // cut short
      file.resize(below(file.size() + 1));
      break;
    case 4:  // a copy of some of its bytes appended
      file.insert(file.end(), file.begin(), file.begin() + static_cast<long>(below(file.size() + 1)));
      break;
    case 5: {  // two index entries of the newest block trade digests
      if (file.size() < 96) break;
      const std::uint64_t start = i64At(file.size() - 24);
      if (start + 16 > file.size()) break;
      const std::uint64_t index = i64At(start + 8);
      if (index + 16 + 80 > file.size()) break;
      std::swap_ranges(file.begin() + static_cast<long>(index + 16),
                       file.begin() + static_cast<long>(index + 48),
                       file.begin() + static_cast<long>(index + 56));
      break;
    }
    default:  // the mark names another length
      for (const auto& entry : fs::directory_iterator(directory)) {
        if (entry.path().filename().string().rfind("commitmark.", 0) == 0) {
          std::ofstream(entry.path()) << below(file.size() + 200);
        }
      }
      break;
  }
  writeAll(registry, file);
}

TEST_F(ManagerFuzzTest, DamagedDirectoriesGiveCodesNeverCrashes) {
  const fs::path good = work_ / "good";
  fs::create_directories(good);
  {
    TarnhiveStatus status;
    RefPtr<BucketManager> manager = managerOn(good, &status);
    ASSERT_EQ(status.code, 0);
    // Several blocks: a tree, a rewrite and a deletion.
    write(*manager, {"/a", "/a/b", "/c"});
    write(*manager, {"/a/b/d", "/c"});
    const Guid token = begin(*manager, &status);
    manager->deleteBucket(u"/c", token, &status);
    end(*manager, token, &status);
    ASSERT_EQ(status.code, 0);
  }
  std::mt19937 random(424242);
  const fs::path damaged = work_ / "damaged";
  int opened = 0;
  for (int input = 0; input < 2000; ++input) {
    fs::remove_all(damaged);
    fs::copy(good, damaged);
    mutate(damaged, random);
    if (input % 3 == 0) mutate(damaged, random);
    TarnhiveStatus status;
    RefPtr<BucketManager> manager = managerOn(damaged, &status);
    ASSERT_LE(status.code, 0) << "input " << input;
    if (failed(&status)) continue;
    ++opened;
    tree(*manager, "/");
    Guid token;
    TarnhiveStatus change;
    if (manager->acquireLock(&token, &change)) {
      manager->beginUpdate(token, &change);
      RefPtr<IBucket> bucket(new Bucket(wide("/a/b/new"), true));
      manager->writeBucket(bucket.get(), true, token, &change);
      manager->commitUpdate(token, &change);
      manager->releaseLock(token, &change);
    }
    tree(*manager, "/");
  }
  EXPECT_GT(opened, 100) << "the damage should leave many registries that open";
}

}  // namespace
}  // namespace vesk::tarnhive::testing
