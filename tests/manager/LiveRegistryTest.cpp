// Processes that only read, never taking the lock, follow what others
// commit: every kind of change at once, across compactions, never half a
// commit; and the change feed reports each commit once and in order.
#include <set>
#include <string>

#include "manager/ClientProcess.h"

namespace vesk::tarnhive::client {
namespace {

using orlo::RefPtr;

struct Reader {
  TarnhiveStatus status;
  RefPtr<IBucketManager> manager;

  explicit Reader(const std::string& root) {
    manager = RefPtr<IBucketManager>::adopt(openManager(root, &status));
    CHILD_CHECK(manager);
  }
  RefPtr<IBucket> bucket(const std::string& name) {
    IBucket* found = nullptr;
    manager->getBucketByName(&found, wide(name), &status);
    CHILD_CHECK(status.code >= 0);
    return RefPtr<IBucket>::adopt(found);
  }
  std::int32_t valueOf(IBucket& bucket, const char16_t* name) {
    RefPtr<IBucketValue> value = RefPtr<IBucketValue>::adopt(bucket.getValue(name, &status));
    CHILD_CHECK(value);
    return value->getInt32(&status);
  }
  bool holdsLock() {
    Guid token;
    return manager->getLockToken(&token, &status);
  }
};

// A commit of the process: sets `value` on each of `names` (made when
// missing) and deletes `gone`, in one update.
void commitValues(IBucketManager& manager, const std::vector<std::string>& names,
                  std::int32_t value, const std::string& gone = "") {
  TarnhiveStatus status;
  Guid token;
  CHILD_CHECK(manager.acquireLock(&token, &status));
  CHILD_CHECK(manager.beginUpdate(token, &status));
  for (const std::string& name : names) {
    IBucket* made = nullptr;
    CHILD_CHECK(manager.createBucket(&made, wide(name), true, true, &status));
    RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(made);
    bucket->setInt32(u"x", value, &status, true);
    bucket->setInt32(u"y", value, &status, true);
    CHILD_CHECK(manager.writeBucket(bucket.get(), false, token, &status));
  }
  if (!gone.empty()) CHILD_CHECK(manager.deleteBucket(wide(gone), token, &status));
  CHILD_CHECK(manager.commitUpdate(token, &status));
  CHILD_CHECK(status.code >= 0);
  CHILD_CHECK(manager.releaseLock(token, &status));
}

// The writer's steps of the first test, one per child: args root, step.
TARNHIVE_CHILD_JOB(LiveStep) {
  TarnhiveStatus status;
  RefPtr<IBucketManager> manager = RefPtr<IBucketManager>::adopt(openManager(args.at(0), &status));
  CHILD_CHECK(manager);
  const int step = std::stoi(args.at(1));
  if (step == 0) commitValues(*manager, {"/a"}, 5);
  if (step == 1) commitValues(*manager, {"/a"}, 77);
  if (step == 2) commitValues(*manager, {"/b"}, 1);
  if (step == 3) commitValues(*manager, {}, 0, "/b");
  if (step == 4) commitValues(*manager, {"/s/t/u"}, 3);
  if (step == 5) {
    Guid token;
    CHILD_CHECK(manager->acquireLock(&token, &status));
    GetInterface3(&status)->compactRegistry(token, &status);
    CHILD_CHECK(status.code == 0);
    CHILD_CHECK(manager->releaseLock(token, &status));
    commitValues(*manager, {"/a"}, 78);
  }
}

// Reads after each step, told by files "go-N" and answering with "ok-N".
TARNHIVE_CHILD_JOB(FollowSteps) {
  const std::string root = args.at(0);
  Reader r(root);
  for (int step = 1; step <= 5; ++step) {
    CHILD_CHECK(test::waitForFile(root + "/go-" + std::to_string(step)));
    if (step == 1) CHILD_CHECK(r.valueOf(*r.bucket("/a"), u"x") == 77);
    if (step == 2) CHILD_CHECK(r.bucket("/b"));
    if (step == 3) CHILD_CHECK(!r.bucket("/b") && !r.manager->bucketExists(u"/b", &r.status));
    if (step == 4) {
      IBucketCase* made = nullptr;
      CHILD_CHECK(r.manager->newBucketCase(&made, &r.status));
      RefPtr<IBucketCase> tree = RefPtr<IBucketCase>::adopt(made);
      CHILD_CHECK(r.manager->getBucketTree(u"/s", tree.get(), &r.status));
      CHILD_CHECK(tree->getNumBuckets() == 3);
    }
    if (step == 5) CHILD_CHECK(r.valueOf(*r.bucket("/a"), u"x") == 78);
    CHILD_CHECK(!r.holdsLock());
    std::ofstream(root + "/ok-" + std::to_string(step)) << "ok";
  }
}

TEST_F(ClientTest, AReaderThatNeverLocksSeesEachCommitOfAnotherProcess) {
  ASSERT_EQ(test::runChild({"LiveStep", {root(), "0"}}), 0);
  test::ChildProcess reader({"FollowSteps", {root()}});
  for (int step = 1; step <= 5; ++step) {
    ASSERT_EQ(test::runChild({"LiveStep", {root(), std::to_string(step)}}), 0);
    std::ofstream(root_.path("go-" + std::to_string(step))) << "go";
    ASSERT_TRUE(test::waitForFile(root_.path("ok-" + std::to_string(step)))) << "step " << step;
  }
  EXPECT_EQ(reader.wait(), 0);
}

constexpr int kCommits = 150;

// Commits 1..kCommits, each setting x and y of three buckets to its number.
TARNHIVE_CHILD_JOB(CommitFast) {
  TarnhiveStatus status;
  RefPtr<IBucketManager> manager = RefPtr<IBucketManager>::adopt(openManager(args.at(0), &status));
  CHILD_CHECK(manager);
  CHILD_CHECK(test::waitForFile(args.at(0) + "/reading"));
  for (int i = 1; i <= kCommits; ++i) commitValues(*manager, {"/w", "/w/p", "/w/q"}, i);
}

// Reads the tree and single buckets until it sees the last commit: every
// read holds one commit's values. Writes how many states it saw.
TARNHIVE_CHILD_JOB(ReadWhole) {
  const std::string root = args.at(0);
  Reader r(root);
  std::set<std::int32_t> seen;
  std::ofstream(root + "/reading") << "reading";
  for (std::int32_t last = 0; last < kCommits;) {
    IBucketCase* made = nullptr;
    CHILD_CHECK(r.manager->newBucketCase(&made, &r.status));
    RefPtr<IBucketCase> tree = RefPtr<IBucketCase>::adopt(made);
    TarnhiveStatus treeStatus;
    if (!r.manager->getBucketTree(u"/w", tree.get(), &treeStatus)) {
      CHILD_CHECK(treeStatus.code == kBUCKETREJECTED);  // not written yet
      continue;
    }
    CHILD_CHECK(tree->getNumBuckets() == 3);
    std::set<std::int32_t> values;
    for (const char* name : {"/w", "/w/p", "/w/q"}) {
      RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(tree->getBucketByName(wide(name)));
      CHILD_CHECK(bucket);
      values.insert(r.valueOf(*bucket, u"x"));
      values.insert(r.valueOf(*bucket, u"y"));
    }
    CHILD_CHECK(values.size() == 1);
    RefPtr<IBucket> single = r.bucket("/w/q");
    CHILD_CHECK(single);
    CHILD_CHECK(r.valueOf(*single, u"x") == r.valueOf(*single, u"y"));
    CHILD_CHECK(r.valueOf(*single, u"x") >= *values.begin());
    last = *values.begin();
    seen.insert(last);
  }
  CHILD_CHECK(!r.holdsLock());
  std::ofstream(root + "/states") << seen.size();
}

TEST_F(ClientTest, AReaderGetsWholeCommitsOfAWriterThatCommitsAsFastAsItCan) {
  test::ChildProcess reader({"ReadWhole", {root()}});
  EXPECT_EQ(test::runChild({"CommitFast", {root()}}), 0);
  EXPECT_EQ(reader.wait(), 0);
  // It followed the writer: more than the first state and the last.
  int states = 0;
  std::ifstream(root_.path("states")) >> states;
  EXPECT_GT(states, 2);
}

// Follows the feed until it has seen kFed commits of another process, each
// writing "/f/c<i>"; checks that they come once each and in order (commits
// that a compaction folded come as one net change, in any order within it).
constexpr int kFed = 60;

TARNHIVE_CHILD_JOB(FollowFeed) {
  const std::string root = args.at(0);
  Reader r(root);
  IChangeFeed* opened = nullptr;
  GetInterface3(&r.status)->openChangeFeed(&opened, &r.status);
  RefPtr<IChangeFeed> feed = RefPtr<IChangeFeed>::adopt(opened);
  CHILD_CHECK(feed);
  std::uint64_t cursor = 0;
  CHILD_CHECK(feed->getCursor(&cursor, &r.status));
  // Nothing lands: the wait ends with its time-out.
  CHILD_CHECK(!feed->waitForChange(cursor, 200, &r.status) && r.status.code == 0);
  std::ofstream(root + "/feeding") << "feeding";
  int next = 0;
  while (next < kFed) {
    CHILD_CHECK(feed->waitForChange(cursor, 60000, &r.status));
    IChangeList* list = nullptr;
    CHILD_CHECK(feed->readChanges(cursor, &list, &cursor, &r.status));
    RefPtr<IChangeList> changes = RefPtr<IChangeList>::adopt(list);
    std::set<int> folded;
    for (std::uint32_t i = 0; i < changes->getCount(&r.status); ++i) {
      std::uint64_t commit = 0;
      bool written = false;
      bool net = false;
      WideString name;
      CHILD_CHECK(changes->getChange(i, &commit, &written, &net, name, &r.status));
      std::string text;
      for (const orlo::WChar unit : name) text += static_cast<char>(unit);
      if (text.rfind("/f/c", 0) != 0) continue;
      CHILD_CHECK(written);
      const int number = std::stoi(text.substr(4));
      if (net) {
        CHILD_CHECK(folded.insert(number).second);
      } else {
        CHILD_CHECK(number == next);
        ++next;
      }
    }
    for (const int number : folded) CHILD_CHECK(number == next++);
  }
  CHILD_CHECK(r.status.code == 0);
}

TARNHIVE_CHILD_JOB(FeedCommits) {
  TarnhiveStatus status;
  RefPtr<IBucketManager> manager = RefPtr<IBucketManager>::adopt(openManager(args.at(0), &status));
  CHILD_CHECK(manager);
  CHILD_CHECK(test::waitForFile(args.at(0) + "/feeding"));
  for (int i = 0; i < kFed; ++i) commitValues(*manager, {"/f/c" + std::to_string(i)}, i);
}

TEST_F(ClientTest, TheFeedReportsEachCommitOfAnotherProcessOnceAndInOrder) {
  // Each commit rewrites "/f" with one more link: the file soon passes its
  // small size limit every few commits, which then compact it, and a
  // follower that falls behind gets the folded commits.
  writeOptions("DiskMaxRegistryFileSizeKB=16\n");
  test::ChildProcess follower({"FollowFeed", {root()}});
  EXPECT_EQ(test::runChild({"FeedCommits", {root()}}), 0);
  EXPECT_EQ(follower.wait(), 0);
}

}  // namespace
}  // namespace vesk::tarnhive::client
