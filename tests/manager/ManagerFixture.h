// Helpers of the tests that use the bucket manager from inside the library:
// a registry directory, an options file and a lock directory of the test's
// own, managers on them, and short forms of the lock and update protocol.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "bucket/Bucket.h"
#include "manager/BucketManager.h"
#include "store/SingleFileBucketStore.h"
#include "support/Environment.h"
#include "support/TempDirectory.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/tarnhive/IBucket.h"
#include "vesk/tarnhive/IBucketCase.h"
#include "vesk/tarnhive/IBucketValue.h"

namespace vesk::tarnhive::testing {

using orlo::RefPtr;
using orlo::WideString;

inline WideString wide(const std::string& text) {
  return orlo::toWide(orlo::NarrowString(text.c_str()));
}

inline std::string narrow(const WideString& text) {
  const orlo::NarrowString bytes = orlo::toNarrow(text);
  return std::string(bytes.data(), bytes.length());
}

// The full names of the subtree read of `name`, in the collection's
// order; empty when the read fails, with its code in `code`.
inline std::vector<std::string> tree(BucketManager& manager, const std::string& name,
                                     std::int32_t* code = nullptr) {
  TarnhiveStatus status;
  IBucketCase* made = nullptr;
  manager.newBucketCase(&made, &status);
  RefPtr<IBucketCase> collection = RefPtr<IBucketCase>::adopt(made);
  std::vector<std::string> names;
  if (manager.getBucketTree(wide(name), collection.get(), &status)) {
    const std::uint32_t handle = collection->openEnumeration();
    for (RefPtr<IBucket> b = RefPtr<IBucket>::adopt(collection->enumFirstBucket(handle)); b;
         b = RefPtr<IBucket>::adopt(collection->enumNextBucket(handle, &status))) {
      names.push_back(narrow(b->getFullName()));
    }
  }
  if (code != nullptr) *code = status.code;
  return names;
}

// A copy of the committed bucket, or null.
inline RefPtr<IBucket> get(BucketManager& manager, const std::string& name) {
  TarnhiveStatus status;
  IBucket* found = nullptr;
  manager.getBucketByName(&found, wide(name), &status);
  return RefPtr<IBucket>::adopt(found);
}


class ManagerFixture : public ::testing::Test {
 protected:
  void SetUp() override { test::setEnvironment("VESK_TARNHIVE_LOCK_DIR", locks_.path()); }
  // The lock directory goes with the test: later tests of the process must
  // not look for locks and shared sequences in it.
  void TearDown() override { test::clearEnvironment("VESK_TARNHIVE_LOCK_DIR"); }

  // A manager on the test's directory with the options lines in options_.
  RefPtr<BucketManager> makeManager(TarnhiveStatus* status) {
    std::ofstream(config_.path("options.ini")) << "[Tarnhive]\n" << options_;
    return RefPtr<BucketManager>(new BucketManager(dir_.wide(), config_.wide("options.ini"), status));
  }

  // The lock and an open update on `manager`.
  static Guid begin(BucketManager& manager, TarnhiveStatus* status) {
    Guid token = kNoLockToken;
    EXPECT_TRUE(manager.acquireLock(&token, status));
    EXPECT_TRUE(manager.beginUpdate(token, status));
    return token;
  }
  // Commits and releases the lock.
  static void end(BucketManager& manager, const Guid& token, TarnhiveStatus* status) {
    EXPECT_TRUE(manager.commitUpdate(token, status));
    EXPECT_TRUE(manager.releaseLock(token, status));
  }

  // Writes buckets of the given names, each holding n = 5, in one commit.
  void write(BucketManager& manager, const std::vector<std::string>& names) {
    TarnhiveStatus status;
    const Guid token = begin(manager, &status);
    for (const auto& name : names) {
      IBucket* made = nullptr;
      manager.createBucket(&made, wide(name), true, true, &status);
      RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(made);
      ASSERT_TRUE(bucket) << name;
      bucket->setInt32(u"n", 5, &status, true);
      manager.writeBucket(bucket.get(), false, token, &status);
    }
    end(manager, token, &status);
    ASSERT_EQ(status.code, 0);
  }

  // Links "/ghost", which the store does not hold, from "/" and writes the
  // buckets `unlinked` without linking them: straight through a store, as a
  // damaged file or a foreign writer leaves the registry. No manager may be
  // open on the directory.
  void writePastTheManager(const std::vector<std::u16string>& unlinked = {}) {
    TarnhiveStatus status;
    SingleFileBucketStore store(dir_.wide(), StoreLimits{});
    store.open(0, &status);
    RefPtr<IBucket> root = RefPtr<IBucket>::adopt(store.loadBucketByName(u"/", &status));
    ASSERT_TRUE(root);
    root->addChildLink(u"ghost", &status, true);
    BucketsByName written;
    written[u"/"].bucket = root;
    for (const std::u16string& name : unlinked) {
      written[orlo::WideString(name.c_str())].bucket = RefPtr<IBucket>(new Bucket(name.c_str(), true));
    }
    store.commit(written, NameSet(), &status);
    ASSERT_EQ(status.code, 0);
  }

  test::TempDirectory dir_;
  test::TempDirectory config_;
  test::TempDirectory locks_;
  std::string options_;
};

}  // namespace vesk::tarnhive::testing
