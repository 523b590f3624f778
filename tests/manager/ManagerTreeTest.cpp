// The tree of buckets stays whole, whatever a client writes and deletes: one
// bucket per name, every committed bucket but "/" linked from its parent,
// and every link leading to a bucket. A long random sequence of changes
// (names in every spelling, stale copies written back, parents deleted and
// made again in one update) is checked against a model after every commit
// and again from a fresh process; before it, the name limits and a failed
// link.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <set>

#include "bucket/ValuePayload.h"
#include "manager/ManagerFixture.h"
#include "manager/NameRules.h"
#include "support/FaultyOs.h"

namespace vesk::tarnhive::testing {
namespace {

class ManagerTreeTest : public ManagerFixture {
 protected:
  void SetUp() override {
    ManagerFixture::SetUp();
    manager_ = makeManager(&status_);
    ASSERT_EQ(status_.code, 0);
    token_ = begin(*manager_, &status_);
  }

  RefPtr<IBucket> fresh(const std::string& name, std::int32_t value) {
    TarnhiveStatus status;
    IBucket* made = nullptr;
    manager_->newBucket(&made, wide(name), &status);
    RefPtr<IBucket> bucket = RefPtr<IBucket>::adopt(made);
    bucket->setInt32(u"v", value, &status, true);
    EXPECT_EQ(status.code, 0);
    return bucket;
  }
  void writeBack(const RefPtr<IBucket>& bucket, bool recursive = false) {
    EXPECT_TRUE(manager_->writeBucket(bucket.get(), recursive, token_, &status_));
  }
  void remove(const std::string& name) {
    EXPECT_TRUE(manager_->deleteBucket(wide(name), token_, &status_));
  }
  void commit() {
    EXPECT_TRUE(manager_->commitUpdate(token_, &status_));
    EXPECT_EQ(status_.code, 0);
    EXPECT_TRUE(manager_->beginUpdate(token_, &status_));
  }
  std::vector<std::string> sortedTree() {
    std::int32_t code = 0;
    std::vector<std::string> names = tree(*manager_, "/", &code);
    EXPECT_EQ(code, 0);
    std::sort(names.begin(), names.end());
    return names;
  }
  bool exists(const std::string& name) {
    TarnhiveStatus status;
    return manager_->bucketExists(wide(name), &status);
  }

  TarnhiveStatus status_;
  RefPtr<BucketManager> manager_;
  Guid token_ = kNoLockToken;
};

using Names = std::vector<std::string>;

TEST_F(ManagerTreeTest, NamesNoBucketMayHaveAreRefused) {
  IBucket* made = nullptr;
  manager_->newEmptyBucket(&made, &status_);
  RefPtr<IBucket> unnamed = RefPtr<IBucket>::adopt(made);
  EXPECT_FALSE(manager_->writeBucket(unnamed.get(), false, token_, &status_));
  EXPECT_EQ(status_.code, kSTOREREJECTED);
  status_.code = 0;

  // A name up to the bound writes, with every parent made and linked; a
  // longer one is refused.
  const std::string longest = "/" + std::string(kMaxBucketNameLength - 1, 'n');
  TarnhiveStatus status;
  EXPECT_TRUE(manager_->writeBucket(fresh(longest + "/", 1).get(), false, token_, &status));
  EXPECT_EQ(status.code, 0);
  EXPECT_FALSE(manager_->writeBucket(fresh(longest + "n", 1).get(), false, token_, &status));
  EXPECT_EQ(status.code, kSTOREREJECTED);
  std::string deep;
  for (int part = 0; part < 200; ++part) deep += "/p";
  status.code = 0;
  EXPECT_TRUE(manager_->writeBucket(fresh(deep, 1).get(), false, token_, &status));
  commit();
  EXPECT_EQ(sortedTree().size(), 2u + 200u);
}

TEST_F(ManagerTreeTest, FailedLinkingIsReportedAndChangesNothing) {
  writeBack(fresh("/a", 1));
  commit();
  // The link is the first value block the write makes.
  RefPtr<IBucket> child = fresh("/a/b", 2);
  TarnhiveStatus failing;
  payload::failAfter(1);
  EXPECT_FALSE(manager_->writeBucket(child.get(), false, token_, &failing));
  payload::failAfter(0);
  EXPECT_LT(failing.code, 0);
  commit();
  EXPECT_FALSE(exists("/a/b"));
  EXPECT_EQ(sortedTree(), (Names{"/", "/a"}));
}

// The model: the buckets that exist (by name in normal form, lower case)
// and the value "v" each holds (-1 for a parent the manager made).
using Model = std::map<std::string, std::int32_t>;

std::string normalKey(const std::string& name) {
  std::string key = narrow(normalizedNameOf(wide(name)));
  std::transform(key.begin(), key.end(), key.begin(), [](unsigned char c) { return std::tolower(c); });
  return key;
}

bool below(const std::string& name, const std::string& ancestor) {
  return name.size() > ancestor.size() + 1 && name.compare(0, ancestor.size(), ancestor) == 0 &&
         name[ancestor.size()] == '/';
}

// What is wrong with the registry as `manager` reads it, against `model`;
// empty when nothing is. Reads the tree from "/", every name of the space
// and every value.
std::string treeProblems(BucketManager& manager, const Model& model,
                         const std::vector<std::string>& space) {
  std::string problems;
  std::int32_t code = 0;
  std::vector<std::string> names = tree(manager, "/", &code);
  if (code != 0) problems += "tree read code " + std::to_string(code) + "; ";
  std::set<std::string> reached;
  for (const auto& name : names) reached.insert(normalKey(name));
  std::set<std::string> expected;
  for (const auto& [name, value] : model) expected.insert(name);
  if (reached != expected) problems += "reachable buckets differ from the model; ";
  for (const auto& name : space) {
    TarnhiveStatus status;
    const bool found = manager.bucketExists(wide(name), &status);
    if (found != (model.count(normalKey(name)) != 0)) problems += "existence of " + name + "; ";
  }
  for (const auto& [name, value] : model) {
    RefPtr<IBucket> bucket = get(manager, name);
    if (!bucket) continue;
    TarnhiveStatus status;
    RefPtr<IBucketValue> v = RefPtr<IBucketValue>::adopt(bucket->getValue(u"v", &status));
    const std::int32_t held = v ? v->getInt32(&status) : -1;
    if (held != value) problems += "value of " + name + "; ";
  }
  return problems;
}

// Opens the registry in args[0] with the options file args[1] and checks it
// against a model: args[2] names of the space, then the model's buckets as
// "name=value".
TARNHIVE_CHILD_JOB(CheckTreeAfterReopen) {
  const std::size_t spaceSize = std::stoul(args.at(2));
  const std::vector<std::string> space(args.begin() + 3, args.begin() + 3 + spaceSize);
  Model model;
  for (auto at = args.begin() + 3 + spaceSize; at != args.end(); ++at) {
    const std::size_t equals = at->rfind('=');
    model[at->substr(0, equals)] = std::stoi(at->substr(equals + 1));
  }
  TarnhiveStatus status;
  RefPtr<BucketManager> manager(new BucketManager(wide(args.at(0)), wide(args.at(1)), &status));
  const std::string problems = treeProblems(*manager, model, space);
  if (!problems.empty()) throw std::runtime_error(problems);
}

// Reads the whole tree of the registry in args[0] (options args[1]) over and
// over, never taking the lock, until the file args[2] exists: every read
// must be one committed state, a whole tree whose buckets all have their
// parents in it.
TARNHIVE_CHILD_JOB(ReadTreeWhileChanging) {
  TarnhiveStatus status;
  RefPtr<BucketManager> manager(new BucketManager(wide(args.at(0)), wide(args.at(1)), &status));
  if (status.code != 0) throw std::runtime_error("open");
  while (!std::filesystem::exists(args.at(2))) {
    std::int32_t code = 0;
    const std::vector<std::string> names = tree(*manager, "/", &code);
    if (code != 0) throw std::runtime_error("tree read code " + std::to_string(code));
    std::set<std::string> reached;
    for (const auto& name : names) reached.insert(normalKey(name));
    for (const auto& name : reached) {
      if (name != "/" && !reached.count(name.substr(0, std::max<std::size_t>(name.rfind('/'), 1)))) {
        throw std::runtime_error(name + " without its parent");
      }
    }
    Guid token;
    if (manager->getLockToken(&token, &status)) throw std::runtime_error("took the lock");
  }
}

TEST_F(ManagerTreeTest, RandomChangesKeepTheTreeWhole) {
  // Another process reads the tree all along without the lock.
  test::ChildProcess reader(
      {"ReadTreeWhileChanging", {dir_.path(), config_.path("options.ini"), dir_.path("stop")}});
  const std::vector<std::string> space = {"/a",   "/a/b", "/A/b/c", "/a/d", "a/d/e",
                                          "/e/",  "/e/f", "/E//F/g", "h",   "/h/i"};
  Model committed{{"/", -1}};
  Model pending = committed;
  std::vector<RefPtr<IBucket>> copies;  // copies taken earlier, written later
  std::mt19937 random(20261123);
  auto pick = [&](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); };

  // The model's side of writing a bucket named `name` holding `value`: the
  // bucket and every missing parent exist.
  auto modelWrite = [&](const std::string& name, std::int32_t value) {
    const std::string key = normalKey(name);
    pending[key] = value;
    for (std::string parent = key; parent.rfind('/') > 0;) {
      parent = parent.substr(0, parent.rfind('/'));
      pending.emplace(parent, -1);
    }
  };

  for (int step = 0; step < 1500; ++step) {
    const std::string name = space[pick(space.size())];
    const std::size_t action = pick(10);
    if (action < 3) {
      writeBack(fresh(name, step), pick(2) == 1);
      modelWrite(name, step);
    } else if (action < 5 && !copies.empty()) {
      // A copy taken earlier: its name and values, perhaps long deleted.
      RefPtr<IBucket> copy = copies[pick(copies.size())];
      writeBack(copy);
      TarnhiveStatus status;
      RefPtr<IBucketValue> v = RefPtr<IBucketValue>::adopt(copy->getValue(u"v", &status));
      modelWrite(narrow(copy->getFullName()), v ? v->getInt32(&status) : -1);
    } else if (action < 6) {
      if (RefPtr<IBucket> copy = get(*manager_, name)) copies.push_back(copy);
      if (copies.size() > 8) copies.erase(copies.begin());
    } else if (action < 8) {
      remove(name);
      const std::string key = normalKey(name);
      for (auto at = pending.begin(); at != pending.end();) {
        at = (at->first == key || below(at->first, key)) ? pending.erase(at) : std::next(at);
      }
    } else if (action < 9) {
      commit();
      committed = pending;
      ASSERT_EQ(treeProblems(*manager_, committed, space), "") << "after step " << step;
    } else {
      // Discard the update: release the lock and start again.
      EXPECT_TRUE(manager_->releaseLock(token_, &status_));
      token_ = begin(*manager_, &status_);
      pending = committed;
    }
    ASSERT_EQ(status_.code, 0) << "at step " << step;
  }
  commit();
  committed = pending;
  ASSERT_EQ(treeProblems(*manager_, committed, space), "");
  EXPECT_TRUE(manager_->releaseLock(token_, &status_));
  std::ofstream(dir_.path("stop")) << "stop";
  EXPECT_EQ(reader.wait(), test::kCHILD_COMPLETED);

  // A fresh process opens the registry and finds the same tree.
  test::ChildJob reopen{"CheckTreeAfterReopen",
                        {dir_.path(), config_.path("options.ini"), std::to_string(space.size())}};
  reopen.args.insert(reopen.args.end(), space.begin(), space.end());
  for (const auto& [name, value] : committed) reopen.args.push_back(name + "=" + std::to_string(value));
  const test::ChildExit fromChild = test::runInChild(reopen);
  EXPECT_TRUE(fromChild.completed);
}

}  // namespace
}  // namespace vesk::tarnhive::testing
