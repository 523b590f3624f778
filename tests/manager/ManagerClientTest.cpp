// The bucket manager end to end, as a client uses it: settings written in
// one process are read back in another, the lock and update rules hold, and
// several processes changing one counter lose no update. (Subtree deletion
// and the size limit are tested inside the library, in ManagerTreeTest and
// BucketManagerTest.)
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "manager/ClientProcess.h"

namespace vesk::tarnhive::client {
namespace {

using orlo::RefPtr;

// A client session: the manager, the lock and an open update.
struct Session {
  TarnhiveStatus status;
  RefPtr<IBucketManager> manager;
  Guid token = kNoLockToken;

  // The process's manager on the registry under `root`.
  void open(const std::string& root) {
    manager = RefPtr<IBucketManager>::adopt(openManager(root, &status));
    CHILD_CHECK(manager);
  }

  void begin() {
    CHILD_CHECK(manager->acquireLock(&token, &status));
    CHILD_CHECK(manager->beginUpdate(token, &status));
  }
  void write(IBucket* bucket) { CHILD_CHECK(manager->writeBucket(bucket, false, token, &status)); }
  void commit() {
    CHILD_CHECK(manager->commitUpdate(token, &status));
    CHILD_CHECK(status.code >= 0);
    CHILD_CHECK(manager->releaseLock(token, &status));
  }
  RefPtr<IBucket> bucket(const std::string& name) {
    IBucket* found = nullptr;
    manager->getBucketByName(&found, wide(name), &status);
    return RefPtr<IBucket>::adopt(found);
  }
  RefPtr<IBucket> create(const std::string& name) {
    IBucket* made = nullptr;
    CHILD_CHECK(manager->createBucket(&made, wide(name), true, true, &status));
    return RefPtr<IBucket>::adopt(made);
  }
};

RefPtr<IBucketValue> valueOf(IBucket& bucket, const char16_t* name, TarnhiveStatus* status) {
  return RefPtr<IBucketValue>::adopt(bucket.getValue(name, status));
}

// Each job's first argument is the root of the test's files.

// Writes values of a few kinds to "/Acme/Editor/Window". (Every kind's
// record is checked in the value tests and through the tool.)
TARNHIVE_CHILD_JOB(WriteSettings) {
  Session s;
  s.open(args.at(0));
  s.begin();
  RefPtr<IBucket> window = s.create("/Acme/Editor/Window");
  TarnhiveStatus* st = &s.status;
  window->setInt32(u"width", 1280, st, true);
  window->setUInt64(u"u64", ~std::uint64_t{0}, st, true);
  window->setString(u"title", u"Caf\u00e9 \U0001F600", st, true);
  const WideString recent[] = {u"a.txt", u"", u"c.txt"};
  window->setStringArray(u"recent", recent, 3, st, true);
  const std::uint8_t blob[] = {0, 1, 2, 255};
  window->setBlob(u"state", blob, 4, st, true);
  CHILD_CHECK(s.status.code >= 0);
  s.write(window.get());
  s.commit();
}

// Reads them back, with names in other cases.
TARNHIVE_CHILD_JOB(ReadSettings) {
  Session s;
  s.open(args.at(0));
  RefPtr<IBucket> window = s.bucket("/acme/editor/WINDOW");  // names ignore case
  CHILD_CHECK(window);
  TarnhiveStatus* st = &s.status;
  CHILD_CHECK(valueOf(*window, u"WIDTH", st)->getInt32(st) == 1280);
  CHILD_CHECK(valueOf(*window, u"u64", st)->getUInt64(st) == ~std::uint64_t{0});
  CHILD_CHECK(valueOf(*window, u"title", st)->getString(st) ==
               WideString(u"Caf\u00e9 \U0001F600"));
  RefPtr<IBucketValue> recent = valueOf(*window, u"recent", st);
  CHILD_CHECK(recent->getArraySize() == 3);
  CHILD_CHECK(recent->getStringArrayElement(2, st) == WideString(u"c.txt"));
  std::uint8_t blob[4] = {};
  CHILD_CHECK(valueOf(*window, u"state", st)->getBlob(blob, 4, st) == 4);
  CHILD_CHECK(blob[3] == 255);
  CHILD_CHECK(s.status.code == 0);
}

TEST_F(ClientTest, SettingsWrittenInOneProcessAreReadInAnother) {
  ASSERT_EQ(test::runChild({"WriteSettings", {root()}}), 0);
  ASSERT_EQ(test::runChild({"ReadSettings", {root()}}), 0);
}

TEST_F(ClientTest, LockAndUpdateRules) {
  Session s;
  s.manager = RefPtr<IBucketManager>::adopt(manager(&s.status));
  ASSERT_TRUE(s.manager);
  Guid token = kNoLockToken;
  Guid second = kNoLockToken;
  EXPECT_TRUE(s.manager->releaseLock(kNoLockToken, &s.status)) << "nobody holds it";
  ASSERT_TRUE(s.manager->tryAcquireLock(&token, &s.status));
  EXPECT_FALSE(s.manager->tryAcquireLock(&second, &s.status)) << "not re-entrant";
  EXPECT_EQ(s.status.code, 0);

  TarnhiveStatus wrong;
  EXPECT_FALSE(s.manager->beginUpdate(kNoLockToken, &wrong));
  EXPECT_EQ(wrong.code, kNOTLOCKOWNER);
  TarnhiveStatus noUpdate;
  EXPECT_FALSE(s.manager->commitUpdate(token, &noUpdate));
  EXPECT_EQ(noUpdate.code, kNOUPDATE);
  TarnhiveStatus noWrite;
  EXPECT_FALSE(s.manager->writeBucket(s.bucket("/").get(), false, token, &noWrite));
  EXPECT_EQ(noWrite.code, kNOUPDATE);
  ASSERT_TRUE(s.manager->beginUpdate(token, &s.status));
  TarnhiveStatus twice;
  EXPECT_FALSE(s.manager->beginUpdate(token, &twice));
  EXPECT_EQ(twice.code, kUPDATEACTIVE);
  TarnhiveStatus root;
  EXPECT_FALSE(s.manager->deleteBucket(u"/", token, &root));
  EXPECT_EQ(root.code, kROOTBUCKET);

  // A wrong token does not release, but closes the update all the same.
  EXPECT_FALSE(s.manager->releaseLock(kNoLockToken, &s.status));
  EXPECT_EQ(s.status.code, 0);
  TarnhiveStatus closed;
  EXPECT_FALSE(s.manager->commitUpdate(token, &closed));
  EXPECT_EQ(closed.code, kNOUPDATE);
  ASSERT_TRUE(s.manager->releaseLock(token, &s.status));
  TarnhiveStatus stale;
  EXPECT_FALSE(s.manager->commitUpdate(token, &stale));
  EXPECT_EQ(stale.code, kNOTLOCKOWNER);

  // A missing bucket is a warning: later calls on the record still run.
  EXPECT_FALSE(s.bucket("/nowhere"));
  EXPECT_EQ(s.status.code, kWBUCKETNOTFOUND);
  EXPECT_TRUE(s.bucket("/"));

  // One manager per process, even after the first is released.
  TarnhiveStatus again;
  IBucketManager* another = manager(&again);
  EXPECT_EQ(another, nullptr);
  EXPECT_EQ(again.code, kINTERNALERROR);
  s.manager.reset();
  TarnhiveStatus afterRelease;
  EXPECT_EQ(manager(&afterRelease), nullptr);
  EXPECT_EQ(afterRelease.code, kINTERNALERROR);
}

TEST_F(ClientTest, DirectoryThatIsAFileIsRefusedAndNotKept) {
  std::ofstream(root_.path("file")) << "x";
  TarnhiveStatus status;
  ITarnhive2* registry = GetInterface(2, &status);
  IBucketManager* made = nullptr;
  registry->createBucketManager(&made, wide(root_.path("file")), wide(root_.path("options.ini")),
                                &status);
  EXPECT_EQ(made, nullptr);
  EXPECT_EQ(status.code, kBADDIRECTORY);
  TarnhiveStatus retry;
  RefPtr<IBucketManager> good = RefPtr<IBucketManager>::adopt(manager(&retry));
  EXPECT_TRUE(good) << "a failed manager is not kept";
  EXPECT_EQ(retry.code, 0);
}

// Adds one to "/counter" args[1] times, one commit each.
TARNHIVE_CHILD_JOB(CountUp) {
  Session s;
  s.open(args.at(0));
  for (int i = 0; i < std::stoi(args.at(1)); ++i) {
    s.begin();
    RefPtr<IBucket> counter = s.create("/counter");
    RefPtr<IBucketValue> value = valueOf(*counter, u"n", &s.status);
    const std::int32_t n = value ? value->getInt32(&s.status) : 0;
    counter->setInt32(u"n", n + 1, &s.status, true);
    s.write(counter.get());
    s.commit();
  }
}

// "/counter" holds args[1].
TARNHIVE_CHILD_JOB(CheckCount) {
  Session s;
  s.open(args.at(0));
  RefPtr<IBucket> counter = s.bucket("/counter");
  CHILD_CHECK(counter);
  CHILD_CHECK(valueOf(*counter, u"n", &s.status)->getInt32(&s.status) == std::stoi(args.at(1)));
}

// Each of several processes adds one to a counter many times, under the
// lock: no update may be lost.
TEST_F(ClientTest, ConcurrentProcessesLoseNoUpdate) {
  constexpr int kProcesses = 4;
  constexpr int kCycles = 25;
  std::vector<std::unique_ptr<test::ChildProcess>> children;
  for (int p = 0; p < kProcesses; ++p) {
    children.push_back(std::make_unique<test::ChildProcess>(
        test::ChildJob{"CountUp", {root(), std::to_string(kCycles)}}));
  }
  for (auto& child : children) EXPECT_EQ(child->wait(), 0);
  EXPECT_EQ(test::runChild({"CheckCount", {root(), std::to_string(kProcesses * kCycles)}}), 0);
}

// Takes the lock, writes "/half" into an open update, makes the file
// args[1] and waits to be killed.
TARNHIVE_CHILD_JOB(HoldTheLock) {
  Session s;
  s.open(args.at(0));
  s.begin();
  s.write(s.create("/half").get());
  std::ofstream(args.at(1)) << "ready";
  for (;;) std::this_thread::sleep_for(std::chrono::seconds(1));
}

// Commits "/after"; the killed holder's "/half" is not there.
TARNHIVE_CHILD_JOB(WriteAfterTheHolder) {
  Session s;
  s.open(args.at(0));
  s.begin();
  s.write(s.create("/after").get());
  s.commit();
  CHILD_CHECK(s.manager->bucketExists(u"/after", &s.status));
  CHILD_CHECK(!s.manager->bucketExists(u"/half", &s.status));
}

TEST_F(ClientTest, AProcessKilledWhileHoldingTheLockStopsNobody) {
  test::ChildProcess holder({"HoldTheLock", {root(), root_.path("ready")}});
  ASSERT_TRUE(test::waitForFile(root_.path("ready")));
  holder.kill();
  EXPECT_EQ(test::runChild({"WriteAfterTheHolder", {root()}}), 0);
}

}  // namespace
}  // namespace vesk::tarnhive::client
