// The update cache: the removed set, and the commit step against a
// recording store and a recording memory cache. (That it never evicts is
// seen in ManagerTreeTest, whose one update writes two hundred buckets.)
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cache/BucketUpdateCache.h"
#include "support/BucketTesting.h"
#include "support/RecordingBucketStore.h"

namespace vesk::tarnhive {
namespace {

using namespace test;
using orlo::RefPtr;
using orlo::WideString;

// A memory cache that also writes what it is asked to do into the log.
class RecordingCache final : public BucketCache {
 public:
  explicit RecordingCache(std::vector<std::string>& log) : BucketCache(1u << 20), log_(log) {}
  void addBucket(IBucket* bucket, const bool& overwrite, TarnhiveStatus* status) override {
    log_.push_back("add " + ascii(bucket->getFullName()) + (overwrite ? "" : " keep"));
    BucketCache::addBucket(bucket, overwrite, status);
  }
  bool removeBucket(const WideString& fullName) override {
    log_.push_back("remove " + ascii(fullName));
    return BucketCache::removeBucket(fullName);
  }

 private:
  std::vector<std::string>& log_;
};

class BucketUpdateCacheTest : public ::testing::Test {
 protected:
  std::vector<std::string> names() {
    std::vector<std::string> out;
    for (const WideString& name : updates->getRemovedNames()) out.push_back(ascii(name));
    return out;
  }

  TarnhiveStatus status;
  RefPtr<BucketUpdateCache> updates{new BucketUpdateCache(0)};
  std::vector<std::string> log;
  RefPtr<RecordingCache> memory{new RecordingCache(log)};
  RecordingBucketStore store{log};
};

TEST_F(BucketUpdateCacheTest, RemovedSetFollowsTheLastChange) {
  updates->removeBucket(u"/a");
  updates->addBucket(newBucket(u"/A").get(), true, &status);
  EXPECT_TRUE(names().empty()) << "deleted, then created again";
  EXPECT_TRUE(updates->removeBucket(u"/a"));
  updates->addBucket(newBucket(u"/b").get(), true, &status);
  EXPECT_FALSE(updates->removeBucket(u"/b/never"));
  EXPECT_EQ(names(), (std::vector<std::string>{"/a", "/b/never"}));
  EXPECT_EQ(updates->getNumBuckets(), 1u);

  const Bytes empty = {1, 0, 0, 0, 0, 0, 0, 0};
  const std::uint8_t* cursor = empty.data();
  updates->deserialize(cursor, empty.data() + empty.size());
  EXPECT_TRUE(names().empty()) << "reading replaces the whole update";
}

// Removed names, then written buckets, each in name order, then the store;
// the update cache is empty afterwards whatever the store reported.
TEST_F(BucketUpdateCacheTest, ApplyToRemovesThenWritesThenCommits) {
  for (const char16_t* name : {u"/c", u"/B", u"/a"}) {
    updates->addBucket(newBucket(name).get(), true, &status);
  }
  updates->removeBucket(u"/z");
  updates->removeBucket(u"/y");
  memory->addBucket(newBucket(u"/y").get(), true, &status);
  log.clear();
  store.commitCode = kSTOREFAILURE;
  updates->applyTo(*memory, store.commitStep(), &status);
  EXPECT_EQ(log, (std::vector<std::string>{"remove /y", "remove /z", "add /a", "add /B", "add /c",
                                           "commit", "-/y", "-/z", "+/a", "+/B", "+/c"}));
  EXPECT_EQ(status.code, kSTOREFAILURE);
  EXPECT_EQ(updates->getNumBuckets(), 0u);
  EXPECT_TRUE(names().empty());
  EXPECT_EQ(updates->getUsage(), 0u);
  EXPECT_EQ(memory->getNumBuckets(), 3u);
  EXPECT_FALSE(memory->hasBucket(u"/y"));

  TarnhiveStatus fresh;
  updates->addBucket(newBucket(u"/d").get(), true, &fresh);
  log.clear();
  updates->applyTo(*memory, store.commitStep(), &status);
  EXPECT_TRUE(log.empty()) << "a failed record stops the commit step";
  EXPECT_EQ(updates->getNumBuckets(), 1u);
}

}  // namespace
}  // namespace vesk::tarnhive
