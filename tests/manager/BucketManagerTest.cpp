// Parts of the bucket manager seen from inside the library: the callback
// library step, emptying the registry directory, the start-up check's dump
// and comparison, a failed commit, writing collections, the size limit, the
// error paths of reads, recovery from a failed reopen, and reads racing
// commits on other threads.
#include "manager/BucketManager.h"


#include <filesystem>
#include <algorithm>
#include <atomic>
#include <thread>

#include "cache/BucketCase.h"
#include "manager/CallbackLibrary.h"
#include "manager/RegistryCheck.h"
#include "vesk/orlo/osdep/Mutex.h"
#include "store/SingleFileBucketStore.h"
#include "bucket/Bucket.h"
#include "support/FaultyOs.h"
#include "manager/ManagerFixture.h"
#include "vesk/tarnhive/Digest.h"

namespace vesk::tarnhive {
namespace {

namespace fs = std::filesystem;
using orlo::RefPtr;
using orlo::WideString;
using testing::get;
using testing::narrow;
using testing::tree;
using testing::wide;

// `text` with every `from` replaced by `to`.
std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

std::string readText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class BucketManagerTest : public testing::ManagerFixture {};

TEST_F(BucketManagerTest, CallbackLibraryIsToldOfInitAndCommits) {
  const WideString plugin = orlo::toWide(orlo::NarrowString(TARNHIVE_CALLBACK_PLUGIN));
  auto callbacks = CallbackLibrary::load(plugin);
  ASSERT_TRUE(callbacks);
  callbacks->preInit(dir_.wide());
  callbacks->postCommit(dir_.wide());
  EXPECT_EQ(readText(dir_.path("callbacks.log")),
            "pre-init " + dir_.path() + "\npost-commit " + dir_.path() + "\n");
  EXPECT_FALSE(CallbackLibrary::load(dir_.wide("missing-library")));
  // A library without the two callbacks is refused.
  const WideString other = orlo::toWide(orlo::NarrowString(TARNHIVE_TEST_PLUGIN_DIR "/testplugin"));
  EXPECT_FALSE(CallbackLibrary::load(other));
}

TEST_F(BucketManagerTest, PurgeKeepsTheRunCounterAndDirectories) {
  {
    TarnhiveStatus status;
    RefPtr<BucketManager> manager = makeManager(&status);
    ASSERT_EQ(status.code, 0);
    write(*manager, {"/a"});
    std::ofstream(dir_.path("debugRunCounter.txt")) << "3";
    fs::create_directory(dir_.path("keep"));
    manager->purgeStore();
  }
  std::vector<std::string> left;
  for (const auto& entry : fs::directory_iterator(dir_.path())) {
    left.push_back(entry.path().filename().string());
  }
  std::sort(left.begin(), left.end());
  EXPECT_EQ(left, (std::vector<std::string>{"debugRunCounter.txt", "keep"}));
}

TEST_F(BucketManagerTest, DumpComparisonIgnoresOnlyVersionAndModifiedLines) {
  TarnhiveStatus status;
  RefPtr<BucketManager> manager = makeManager(&status);
  ASSERT_EQ(status.code, 0);
  write(*manager, {"/a", "/a/b"});
  dumpRegistry(*manager, dir_.wide(), u"reference.txt");
  const std::string reference = readText(dir_.path("reference.txt"));
  ASSERT_NE(reference.find("[0] n = 5"), std::string::npos);  // the text form, pinned in BucketRecordTest

  // A reference whose version and modified lines differ still passes.
  std::string edited = replaceAll(reference, "version_        0", "version_        9");
  edited = replaceAll(edited, "modified_       false", "modified_       true");
  ASSERT_NE(edited, reference);
  std::ofstream(dir_.path("reference.txt"), std::ios::binary) << edited;
  dumpRegistry(*manager, dir_.wide(), u"temp_reference.txt");
  EXPECT_TRUE(compareWithReference(dir_.wide(), u"reference.txt"));
  EXPECT_EQ(readText(dir_.path("debugResults.txt")), "file compare passed\r\n");

  // Any other difference fails, and so does a missing reference.
  std::ofstream(dir_.path("reference.txt"), std::ios::binary)
      << replaceAll(reference, "[0] n = 5", "[0] n = 6");
  EXPECT_FALSE(compareWithReference(dir_.wide(), u"reference.txt"));
  EXPECT_EQ(readText(dir_.path("debugResults.txt")), "file compare failed\r\n");
  fs::remove(dir_.path("reference.txt"));
  EXPECT_FALSE(compareWithReference(dir_.wide(), u"reference.txt"));
}

TEST_F(BucketManagerTest, StartupComparisonWithoutAFileNameFails) {
  // The name of the reference file never takes a value, so mode 1 compares
  // against nothing.
  options_ = "DebugCompareRegAtStartMode=1\nDebugCompareRegAtStartFile=ref.txt\n";
  TarnhiveStatus status;
  RefPtr<BucketManager> manager = makeManager(&status);
  EXPECT_EQ(status.code, 0);
  EXPECT_EQ(readText(dir_.path("debugResults.txt")), "file compare failed\r\n");
  EXPECT_TRUE(fs::exists(dir_.path("temp_")));
}

TEST_F(BucketManagerTest, FailedCommitShowsNothingOfItsChanges) {
  TarnhiveStatus status;
  RefPtr<BucketManager> manager = makeManager(&status);
  ASSERT_EQ(status.code, 0);
  Guid token;
  ASSERT_TRUE(manager->acquireLock(&token, &status));
  ASSERT_TRUE(manager->beginUpdate(token, &status));
  IBucket* made = nullptr;
  manager->newBucket(&made, u"/lost", &status);
  RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(made);
  ASSERT_TRUE(manager->writeBucket(bucket.get(), false, token, &status));
  TarnhiveStatus commit;
  {
    test::FaultyOs faults;
    faults.failAt(1);
    EXPECT_TRUE(manager->commitUpdate(token, &commit));
  }
  EXPECT_EQ(commit.code, kOSERROR);
  IBucket* found = nullptr;
  EXPECT_FALSE(manager->getBucketByName(&found, u"/lost", &status));
  EXPECT_EQ(status.code, kWBUCKETNOTFOUND);
  EXPECT_TRUE(manager->releaseLock(token, &status));
}

// A collection whose enumeration reports itself invalidated (+314504) on
// its first `invalidPasses` passes.
class ChangingCollection : public BucketCase {
 public:
  explicit ChangingCollection(int invalidPasses) : invalidPasses_(invalidPasses) {}
  std::uint32_t openEnumeration() override {
    ++passes_;
    return BucketCase::openEnumeration();
  }
  IBucket* enumNextBucket(std::uint32_t handle, TarnhiveStatus* status) override {
    if (passes_ <= invalidPasses_) {
      setStatus(status, kWNOTFOUND);
      return nullptr;
    }
    return BucketCase::enumNextBucket(handle, status);
  }
  int passes_ = 0;

 private:
  const int invalidPasses_;
};

TEST_F(BucketManagerTest, WriteBucketsRestartsInvalidatedPassesAndGivesUpAfterEight) {
  TarnhiveStatus status;
  RefPtr<BucketManager> manager = makeManager(&status);
  write(*manager, {"/a", "/a/child"});
  const Guid token = begin(*manager, &status);
  for (const int invalid : {7, 8}) {
    RefPtr<ChangingCollection> collection(new ChangingCollection(invalid));
    for (const char* name : {"/x", "/y"}) {
      RefPtr<IBucket> bucket(new Bucket(wide(name + std::to_string(invalid)), true));
      collection->addBucket(bucket.get(), true, &status);
    }
    TarnhiveStatus result;
    const bool written = manager->writeBuckets(collection.get(), false, token, &result);
    EXPECT_EQ(written, invalid < 8);
    EXPECT_EQ(result.code, invalid < 8 ? 0 : kPASSFAILED);
    EXPECT_EQ(collection->passes_, 8);
  }
  // The flag writes each bucket's descendants again.
  RefPtr<BucketCase> parents(new BucketCase());
  parents->addBucket(get(*manager, "/a").get(), true, &status);
  EXPECT_TRUE(manager->writeBuckets(parents.get(), true, token, &status));
  end(*manager, token, &status);
  EXPECT_EQ(status.code, 0);
  for (const char* name : {"/x7", "/y7", "/a/child"}) EXPECT_TRUE(get(*manager, name)) << name;
  // A pass given up on leaves what it wrote before the enumeration failed.
  EXPECT_FALSE(get(*manager, "/y8"));
}

TEST_F(BucketManagerTest, WritesAreRefusedWhileTheFileIsOverItsLimit) {
  options_ = "DiskMaxRegistryFileSizeKB=1\n";
  TarnhiveStatus status;
  RefPtr<BucketManager> manager = makeManager(&status);
  Guid token = begin(*manager, &status);
  RefPtr<IBucket> big(new Bucket(wide("/big"), true));
  const std::vector<std::uint8_t> bytes(3000, 7);
  big->setBlob(u"b", bytes.data(), static_cast<std::uint32_t>(bytes.size()), &status, true);
  EXPECT_TRUE(manager->writeBucket(big.get(), false, token, &status));
  end(*manager, token, &status);
  ASSERT_EQ(status.code, 0);
  token = begin(*manager, &status);
  RefPtr<BucketCase> collection(new BucketCase());
  TarnhiveStatus one, many;
  EXPECT_FALSE(manager->writeBucket(big.get(), false, token, &one));
  EXPECT_FALSE(manager->writeBuckets(collection.get(), false, token, &many));
  EXPECT_EQ(one.code, kDISKFULL);
  EXPECT_EQ(many.code, kDISKFULL);
  ASSERT_NE(one.message, nullptr);
  EXPECT_NE(narrow(*one.message).find("DiskMaxRegistryFileSizeKB"), std::string::npos);
  EXPECT_TRUE(manager->releaseLock(token, &status));
}

TEST_F(BucketManagerTest, ReadsAndChangesReportTheirErrors) {
  TarnhiveStatus status;
  RefPtr<BucketManager> manager = makeManager(&status);
  write(*manager, {"/a"});
  TarnhiveStatus noCollection;
  EXPECT_FALSE(manager->collectBucket(Digest(WideString(u"/a")), nullptr, &noCollection));
  EXPECT_EQ(noCollection.code, kNOTAVAILABLE);
  EXPECT_TRUE(tree(*manager, "/missing").empty());
  std::int32_t code = 0;
  tree(*manager, "/missing", &code);
  EXPECT_EQ(code, kBUCKETREJECTED);

  // A link to a bucket the store does not have, as a damaged file leaves it.
  manager.reset();
  writePastTheManager();
  manager = makeManager(&status);
  tree(*manager, "/", &code);
  EXPECT_EQ(code, kSTORECHILDMISSING);
}

TEST_F(BucketManagerTest, FailedReopenAtTheLockIsTriedAgainNextTime) {
  TarnhiveStatus status;
  RefPtr<BucketManager> manager = makeManager(&status);
  write(*manager, {"/a"});
  // Something else plants a mark that makes every open fail.
  std::ofstream(dir_.path("commitmark.x")) << "1";
  Guid token;
  TarnhiveStatus failing;
  EXPECT_FALSE(manager->acquireLock(&token, &failing));
  EXPECT_EQ(failing.code, kSTORECORRUPT);
  // The machine-wide lock was given back.
  orlo::osdep::Mutex processLock(u"__vesk_tarnhive_BucketManager_lock__");
  EXPECT_TRUE(processLock.tryLock());
  processLock.unlock();
  fs::remove(dir_.path("commitmark.x"));
  write(*manager, {"/b"});
  EXPECT_TRUE(get(*manager, "/a"));
  EXPECT_TRUE(get(*manager, "/b"));
  EXPECT_EQ(status.code, 0);
}

TEST_F(BucketManagerTest, NoReadAfterACommitSeesOlderData) {
  // A small memory cache, so that reads keep going to the store while
  // another thread commits.
  options_ = "MemoryCacheSizeLimitKB=0\n";
  TarnhiveStatus status;
  RefPtr<BucketManager> manager = makeManager(&status);
  std::vector<std::string> names;
  for (int i = 0; i < 30; ++i) names.push_back("/n" + std::to_string(i));
  write(*manager, names);
  std::atomic<std::int32_t> committed{0};
  std::atomic<bool> done{false};
  std::atomic<int> stale{0};
  auto reader = [&] {
    while (!done) {
      const std::int32_t before = committed.load();
      for (const auto& name : {std::string("/n0"), std::string("/n29")}) {
        RefPtr<IBucket> bucket = get(*manager, name);
        TarnhiveStatus own;
        RefPtr<IBucketValue> v =
            bucket ? RefPtr<IBucketValue>::adopt(bucket->getValue(u"n", &own)) : nullptr;
        if (!v || v->getInt32(&own) < before) ++stale;
      }
    }
  };
  std::thread first(reader), second(reader);
  for (std::int32_t round = 6; round < 60; ++round) {
    TarnhiveStatus own;
    const Guid token = begin(*manager, &own);
    for (const auto& name : {std::string("/n0"), std::string("/n29")}) {
      RefPtr<IBucket> bucket(new Bucket(wide(name), true));
      bucket->setInt32(u"n", round, &own, true);
      manager->writeBucket(bucket.get(), false, token, &own);
    }
    end(*manager, token, &own);
    ASSERT_EQ(own.code, 0);
    committed = round;
  }
  done = true;
  first.join();
  second.join();
  EXPECT_EQ(stale.load(), 0);
}

}  // namespace
}  // namespace vesk::tarnhive
