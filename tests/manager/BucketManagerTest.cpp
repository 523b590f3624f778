// Parts of the bucket manager seen from inside the library: the callback
// library step, emptying the registry directory, the start-up check's dump
// and comparison, and the name helpers.
#include "manager/BucketManager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <algorithm>
#include <string>

#include "manager/CallbackLibrary.h"
#include "manager/RegistryCheck.h"
#include "support/Environment.h"
#include "support/FaultyOs.h"
#include "support/TempDirectory.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/tarnhive/Digest.h"
#include "vesk/tarnhive/IBucket.h"
#include "vesk/tarnhive/IBucketCase.h"
#include "vesk/tarnhive/IBucketValue.h"

namespace vesk::tarnhive {
namespace {

namespace fs = std::filesystem;
using orlo::RefPtr;
using orlo::WideString;

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

class BucketManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    test::setEnvironment("VESK_TARNHIVE_LOCK_DIR", locks_.path());
    std::ofstream(config_.path("options.ini")) << "[Tarnhive]\n" << options_;
  }

  RefPtr<BucketManager> makeManager(TarnhiveStatus* status) {
    std::ofstream(config_.path("options.ini")) << "[Tarnhive]\n" << options_;
    auto* manager = new BucketManager(dir_.wide(), config_.wide("options.ini"), status);
    return RefPtr<BucketManager>(manager);
  }

  // Writes buckets of the given names under one lock.
  void write(BucketManager& manager, const std::vector<std::string>& names) {
    TarnhiveStatus status;
    Guid token;
    ASSERT_TRUE(manager.acquireLock(&token, &status));
    ASSERT_TRUE(manager.beginUpdate(token, &status));
    for (const auto& name : names) {
      IBucket* made = nullptr;
      manager.createBucket(&made, orlo::toWide(orlo::NarrowString(name.c_str())), true, true,
                           &status);
      RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(made);
      bucket->setInt32(u"n", 5, &status, true);
      manager.writeBucket(bucket.get(), false, token, &status);
    }
    ASSERT_TRUE(manager.commitUpdate(token, &status));
    ASSERT_TRUE(manager.releaseLock(token, &status));
    ASSERT_EQ(status.code, 0);
  }

  test::TempDirectory dir_;
  test::TempDirectory config_;
  test::TempDirectory locks_;
  std::string options_;
};

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
  EXPECT_NE(reference.find("fullName_       /a/b\r\n"), std::string::npos);
  EXPECT_NE(reference.find("shortName_      b\r\n"), std::string::npos);
  EXPECT_EQ(reference.find("parent_"), std::string::npos);

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

TEST_F(BucketManagerTest, LinkCyclesEndTheWalksAndNeverDeleteAnAncestor) {
  TarnhiveStatus status;
  RefPtr<BucketManager> manager = makeManager(&status);
  write(*manager, {"/a", "/a/b"});
  Guid token;
  ASSERT_TRUE(manager->acquireLock(&token, &status));
  ASSERT_TRUE(manager->beginUpdate(token, &status));
  IBucket* made = nullptr;
  manager->getBucketByName(&made, u"/a/b", &status);
  RefPtr<IBucket> leaf = RefPtr<IBucket>::adopt(made);
  leaf->setDigest(u"/", Digest(WideString(u"/")), &status, true);  // a link back to the root
  ASSERT_TRUE(manager->writeBucket(leaf.get(), true, token, &status));
  ASSERT_TRUE(manager->commitUpdate(token, &status));
  ASSERT_EQ(status.code, 0);

  IBucketCase* tree = nullptr;
  manager->newBucketCase(&tree, &status);
  RefPtr<IBucketCase> collection = RefPtr<IBucketCase>::adopt(tree);
  EXPECT_TRUE(manager->getBucketTree(u"/", collection.get(), &status));
  EXPECT_EQ(collection->getNumBuckets(), 3u);

  ASSERT_TRUE(manager->beginUpdate(token, &status));
  ASSERT_TRUE(manager->deleteBucket(u"/a", token, &status));
  ASSERT_TRUE(manager->commitUpdate(token, &status));
  ASSERT_TRUE(manager->releaseLock(token, &status));
  EXPECT_TRUE(manager->bucketExists(u"/", &status));
  EXPECT_FALSE(manager->bucketExists(u"/a/b", &status));
  EXPECT_EQ(status.code, 0);
}

TEST_F(BucketManagerTest, NameHelpers) {
  TarnhiveStatus status;
  RefPtr<BucketManager> manager = makeManager(&status);
  WideString out;
  manager->normalizeName(out, u"", &status);
  EXPECT_EQ(out, WideString(u"/"));
  manager->normalizeName(out, u"a//b/", &status);
  EXPECT_EQ(out, WideString(u"/a/b"));
  manager->parentName(out, u"/a/b/c", &status);
  EXPECT_EQ(out, WideString(u"/a/b"));
  manager->parentName(out, u"/a", &status);
  EXPECT_EQ(out, WideString(u"/"));
  manager->parentName(out, u"/", &status);
  EXPECT_EQ(out, WideString(u"/"));
  IBucketValue* value = nullptr;
  EXPECT_TRUE(manager->newValue(&value, &status));
  ASSERT_NE(value, nullptr);
  value->release();
  EXPECT_EQ(status.code, 0);
}

}  // namespace
}  // namespace vesk::tarnhive
