// Damaged registry files: cut short at every length, the store either opens
// with a status code or opens correctly, and never crashes or reads out of
// bounds (changed bytes and marks are fuzzed in ManagerFuzzTest); a changed
// checksum is not verified on loading.
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

TEST_F(StoreDamageTest, AlteredChecksumStillLoads) {
  makeRegistry();
  Bytes file = good_;
  const std::size_t checksum = file.size() - 56;
  for (std::size_t i = checksum; i < checksum + 32; ++i) file[i] ^= 0xA5;
  writeFile(path("registry.bin"), file);
  auto store = openStore();
  EXPECT_EQ(contentOf(*store, kNames), (Content{{"/a", 10}, {"/c", 3}}));
}

}  // namespace
}  // namespace vesk::tarnhive::testing
