// Damaged registry files: cut short at every length, or with single bytes of
// their index and trailer fields changed. The store either opens with a
// status code or opens correctly; it never crashes or reads out of bounds.
#include <filesystem>

#include "store/StoreFixture.h"

namespace vesk::tarnhive::testing {
namespace {

namespace fs = std::filesystem;

const std::set<std::string> kNames = {"/a", "/b", "/c"};

class StoreDamageTest : public StoreFixture {
 protected:
  // A registry of three blocks, as a session writes it before any reopen.
  void makeRegistry() {
    auto store = openStore();
    ASSERT_EQ(commit(*store, {{"/a", 1}, {"/b", 2}}), 0);
    ASSERT_EQ(commit(*store, {{"/a", 10}}), 0);
    ASSERT_EQ(commit(*store, {{"/c", 3}}, {"/b"}), 0);
    store.reset();
    good_ = readFile(path("registry.bin"));
    mark_ = commitMarks().at(0);
  }

  // Opens the damaged file; when it opens, reads everything it claims.
  void openDamaged(const Bytes& file, const std::string& markText, const std::string& what) {
    for (const auto& entry : fs::directory_iterator(path())) {
      if (entry.path().filename() != "options.ini") fs::remove(entry.path());
    }
    writeFile(path("registry.bin"), file);
    std::ofstream(path(mark_)) << markText;
    std::int32_t code = 0;
    auto store = openStore(&code);
    if (code != 0) {
      EXPECT_LT(code, 0) << what;
      return;
    }
    for (const auto& name : kNames) {
      TarnhiveStatus status;
      orlo::RefPtr<IBucket>::adopt(store->loadBucketByName(wide(name), &status));
      store->containsName(wide(name), &status);
    }
  }

  Bytes good_;
  std::string mark_;
};

TEST_F(StoreDamageTest, EveryTruncationOpensOrFailsCleanly) {
  makeRegistry();
  for (std::size_t length = 0; length < good_.size(); ++length) {
    const Bytes cut(good_.begin(), good_.begin() + length);
    // The mark still names the whole file, or names the cut length.
    openDamaged(cut, std::to_string(good_.size()), "cut to " + std::to_string(length));
    openDamaged(cut, std::to_string(length), "cut and marked at " + std::to_string(length));
  }
}

TEST_F(StoreDamageTest, ChangedIndexAndTrailerBytesOpenOrFailCleanly) {
  makeRegistry();
  // Every byte of every block's header, index and trailer, set to two values
  // that push offsets far out of range and to a small one.
  std::vector<std::size_t> positions;
  for (std::int64_t end = good_.size(); end > 0;) {
    const std::int64_t start = i64At(good_, end - 24);
    const std::int64_t index = i64At(good_, start + 8);
    for (std::int64_t i = start; i < start + 16; ++i) positions.push_back(i);
    for (std::int64_t i = index; i < end; ++i) positions.push_back(i);
    end = start;
  }
  for (const std::size_t at : positions) {
    for (const std::uint8_t value : {std::uint8_t{0xFF}, std::uint8_t{0x7F}, std::uint8_t{0x01}}) {
      Bytes file = good_;
      if (file[at] == value) continue;
      file[at] = value;
      openDamaged(file, std::to_string(good_.size()), "byte " + std::to_string(at));
    }
  }
}

TEST_F(StoreDamageTest, AlteredChecksumStillLoads) {
  makeRegistry();
  Bytes file = good_;
  const std::size_t checksum = file.size() - 56;
  for (std::size_t i = checksum; i < checksum + 32; ++i) file[i] ^= 0xA5;
  writeFile(path("registry.bin"), file);
  auto store = openStore();
  EXPECT_EQ(contentOf(*store, kNames), (Content{{"/a", 10}, {"/c", 3}}));
}

TEST_F(StoreDamageTest, BlockStartBeyondItsEndIsDamage) {
  makeRegistry();
  Bytes file = good_;
  const std::size_t trailer = file.size() - 24;
  file[trailer + 7] = 0x01;  // blockStart of the newest block, far past the end
  writeFile(path("registry.bin"), file);
  std::int32_t code = 0;
  openStore(&code);
  EXPECT_EQ(code, kSTOREDAMAGED);
}

}  // namespace
}  // namespace vesk::tarnhive::testing
