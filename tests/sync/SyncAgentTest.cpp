// The agent against a real etcd: the first full read, revisions arriving as
// one commit each, restarts, an etcd restart, compacted history, malformed
// keys, local changes, publishing, and many agents converging.
#include <cstdlib>

#include "SyncTesting.h"

namespace vesk::tarnhive::sync::testing {
namespace {

// A bucket's export form with one int32 "n".
Json valuesWith(int n) { return Json::parse(bucketWith(n)); }

TEST_F(SyncTest, OnceMirrorsThePrefixAndTouchesNothingElse) {
  // Written with etcd's own command-line client, so that the agent's
  // decoding is checked against another implementation's encoding.
  const std::string etcdctl = "ETCDCTL_API=3 etcdctl --endpoints " + etcd_->endpoint() + " put ";
  const std::string editor = R"({"autosave": {"type": "bool", "value": true}, "ratio": {"type": "float64", "value": "NaN"}, "name": {"type": "string", "value": "é"}})";
  ASSERT_EQ(std::system((etcdctl + "/policy/Acme/Editor '" + editor + "' >/dev/null").c_str()), 0);
  ASSERT_EQ(std::system((etcdctl + "/policy/Acme '" + bucketWith(1) + "' >/dev/null").c_str()), 0);
  ASSERT_EQ(std::system((etcdctl + "/policy/Deep/Down/Leaf '{}' >/dev/null").c_str()), 0);
  ASSERT_EQ(std::system((etcdctl + "/policyX/Other '{}' >/dev/null").c_str()), 0);  // not under the prefix
  ok({"set", "-p", "/Outside", "n", "int32", "7"});
  ok({"set", "-p", "/Policy/Stale", "n", "int32", "8"});  // under the subtree, in no key

  const auto outcome = tool(syncArgs(registry(), true));
  ASSERT_EQ(outcome.status, 0) << outcome.err;
  const Json expected{{"/Policy/Acme", valuesWith(1)},
                      {"/Policy/Acme/Editor", Json::parse(editor)},
                      {"/Policy/Deep", Json::object()},
                      {"/Policy/Deep/Down", Json::object()},
                      {"/Policy/Deep/Down/Leaf", Json::object()}};
  EXPECT_EQ(subtree(), expected);
  EXPECT_EQ(recordedRevision(registry()), client_->readPrefix("/", 0).revision);
  EXPECT_EQ(ok({"get", "/Outside", "n"}), "7\n");
  // A second pass finds nothing to do and commits nothing.
  EXPECT_NE(tool(syncArgs(registry(), true)).out.find("0 buckets written, 0 deleted"), std::string::npos);
}

TEST_F(SyncTest, EachRevisionArrivesAsOneCommit) {
  put("A", bucketWith(1));
  put("B/b", bucketWith(2));
  auto agent = startAgent();
  ASSERT_TRUE(agent->reaches(3)) << agent->err();
  const pid_t watcher = spawn({"-d", registry(), "--json", "watch", kSubtree}, path("empty"),
                              path("watch.out"), path("watch.err"));
  ASSERT_TRUE(eventually([&] { return readFile(path("watch.err")).find("watching") != std::string::npos; }));

  put("A", bucketWith(10));
  remove("B/b");
  const long long last = txn({{"C/c", bucketWith(3)}, {"C/d", bucketWith(4)}, {"A", std::nullopt}});
  ASSERT_TRUE(agent->reaches(last)) << agent->err();
  std::vector<Json> commits;
  ASSERT_TRUE(eventually([&] {
    commits.clear();
    std::istringstream lines(readFile(path("watch.out")));
    for (std::string line; std::getline(lines, line);) commits.push_back(Json::parse(line));
    return commits.size() >= 3;
  }));
  ::kill(watcher, SIGTERM);
  waitFor(watcher);

  // Each commit also writes the subtree's root, which records the revision.
  ASSERT_EQ(commits.size(), 3u);
  EXPECT_EQ(commits[0]["written"], Json({"/Policy", "/Policy/A"}));
  EXPECT_EQ(commits[1]["deleted"], Json({"/Policy/B", "/Policy/B/b"}));
  EXPECT_EQ(commits[2]["written"], Json({"/Policy", "/Policy/C", "/Policy/C/c", "/Policy/C/d"}));
  EXPECT_EQ(commits[2]["deleted"], Json({"/Policy/A"}));
  EXPECT_EQ(subtree(), Json({{"/Policy/C", Json::object()}, {"/Policy/C/c", valuesWith(3)}, {"/Policy/C/d", valuesWith(4)}}));
  EXPECT_EQ(agent->stop(), 0);
}

TEST_F(SyncTest, RestartResumesAfterTheRecordedRevision) {
  auto agent = startAgent("first");
  const long long first = put("A", bucketWith(1));
  ASSERT_TRUE(agent->reaches(first)) << agent->err();
  EXPECT_EQ(agent->stop(), 0);

  // While it is away: changes under the prefix and one outside, which
  // makes a revision the agent never sees.
  const long long second = put("B", bucketWith(2));
  client_->commitIfUnchanged("/never/", 0, {{"/elsewhere", "{}"}});
  const long long third = txn({{"A", std::nullopt}, {"C", bucketWith(3)}});

  auto again = startAgent("second");
  ASSERT_TRUE(again->reaches(third)) << again->err();
  EXPECT_NE(again->err().find("resuming after revision " + std::to_string(first)), std::string::npos);
  EXPECT_EQ(again->revisions(), (std::vector<long long>{second, third}));
  EXPECT_EQ(subtree(), Json({{"/Policy/B", valuesWith(2)}, {"/Policy/C", valuesWith(3)}}));
  EXPECT_EQ(recordedRevision(registry()), third);
}

TEST_F(SyncTest, FollowsEtcdThroughARestart) {
  auto agent = startAgent();
  ASSERT_TRUE(agent->reaches(put("A", bucketWith(1)))) << agent->err();
  etcd_->stop();
  ASSERT_TRUE(eventually([&] { return agent->err().find("no etcd endpoint answered") != std::string::npos; }));
  etcd_->start();
  const long long later = put("A", bucketWith(2));
  ASSERT_TRUE(agent->reaches(later)) << agent->err();
  EXPECT_EQ(subtree(), Json({{"/Policy/A", valuesWith(2)}}));
  EXPECT_EQ(agent->stop(), 0);
}

TEST_F(SyncTest, ReadsEverythingWhenTheHistoryWasCompactedAway) {
  put("Kept", bucketWith(1));
  put("Gone", bucketWith(2));
  auto agent = startAgent("first");
  ASSERT_TRUE(agent->reaches(3)) << agent->err();
  agent->stop();

  put("Kept", bucketWith(10));
  remove("Gone");
  const long long now = put("New/n", bucketWith(3));
  client_->compact(now);

  auto again = startAgent("second");
  ASSERT_TRUE(again->reaches(now)) << again->err();
  EXPECT_NE(again->err().find("no longer in etcd's history"), std::string::npos) << again->err();
  EXPECT_EQ(again->revisions(), std::vector<long long>{now});  // the difference, in one commit
  EXPECT_EQ(subtree(), Json({{"/Policy/Kept", valuesWith(10)}, {"/Policy/New", Json::object()},
                             {"/Policy/New/n", valuesWith(3)}}));
}

TEST_F(SyncTest, SkipsKeysThatAreNoBucketAndAppliesTheRestOfTheRevision) {
  auto agent = startAgent();
  ASSERT_TRUE(agent->reaches(put("Kept", bucketWith(1)))) << agent->err();
  const long long mixed = txn({{"Good", bucketWith(2)},
                               {"Kept", R"({"n": {"type": "int32", "value": 1e10}})"},  // out of range
                               {"NotJson", "{"},
                               {"BadType", R"({"n": {"type": "int33", "value": 1}})"},
                               {"Case", R"({"N": {"type": "int8", "value": 1}, "n": {"type": "int8", "value": 2}})"},
                               {"Empty//Part", "{}"}});
  ASSERT_TRUE(agent->reaches(mixed)) << agent->err();

  // Applied: the valid key. Skipped, each with a line naming it: the rest;
  // a skipped key keeps its bucket's last valid values.
  EXPECT_EQ(subtree(), Json({{"/Policy/Good", valuesWith(2)}, {"/Policy/Kept", valuesWith(1)}}));
  for (const char* key : {"Kept", "NotJson", "BadType", "Case", "Empty//Part"}) {
    EXPECT_NE(agent->err().find("key \"/policy/" + std::string(key) + "\" at revision " + std::to_string(mixed) +
                                " skipped"),
              std::string::npos)
        << key << "\n" << agent->err();
  }

  // A fixed key applies as any other.
  ASSERT_TRUE(agent->reaches(put("NotJson", bucketWith(7)))) << agent->err();
  EXPECT_EQ(subtree(), Json({{"/Policy/Good", valuesWith(2)}, {"/Policy/Kept", valuesWith(1)},
                             {"/Policy/NotJson", valuesWith(7)}}));
}

TEST_F(SyncTest, LocalChangesAreOverwrittenByTheNextChangeAndReported) {
  put("A", bucketWith(1));
  put("B", bucketWith(2));
  auto agent = startAgent();
  ASSERT_TRUE(agent->reaches(3)) << agent->err();
  ok({"set", "/Policy/A", "n", "int32", "100"});
  ok({"set", "/Policy/B", "extra", "bool", "true"});

  ASSERT_TRUE(agent->reaches(put("A", bucketWith(11))));
  EXPECT_NE(agent->err().find("/Policy/A had been changed locally; revision 4 replaced it"), std::string::npos)
      << agent->err();
  // B had no policy change: its local change stays until it has one.
  EXPECT_EQ(subtree()["/Policy/B"]["extra"]["value"], true);
  EXPECT_EQ(agent->err().find("/Policy/B"), std::string::npos);
  agent->stop();

  // A full pass puts the whole subtree back, and names what it replaced.
  ok({"set", "-p", "/Policy/Local", "n", "int32", "1"});
  const auto outcome = tool(syncArgs(registry(), true));
  EXPECT_EQ(subtree(), Json({{"/Policy/A", valuesWith(11)}, {"/Policy/B", valuesWith(2)}}));
  EXPECT_NE(outcome.err.find("/Policy/B had been changed locally"), std::string::npos) << outcome.err;
  EXPECT_NE(outcome.err.find("/Policy/Local had been changed locally"), std::string::npos) << outcome.err;
}

TEST_F(SyncTest, PublishWritesTheSubtreeInOneTransactionAndSyncReadsItBack) {
  ok({"set", "-p", "/Policy/Acme/Editor", "zoom", "float32", "1.25"});
  ok({"set", "-p", "/Policy/Acme/Editor", "names", "string-array", "x", "y"});
  ok({"set", "-p", "/Policy/Gone", "n", "int32", "1"});
  const std::vector<std::string> publish{"publish", "--endpoints", etcd_->endpoint(), "--prefix", kPrefix, kSubtree};
  const long long before = client_->readPrefix("/", 0).revision;
  ok(publish);
  EXPECT_EQ(client_->readPrefix("/", 0).revision, before + 1);
  ok({"rm", "/Policy/Gone"});
  ok({"set", "/Policy/Acme", "n", "int32", "2"});
  ok(publish);
  EXPECT_EQ(client_->readPrefix("/", 0).revision, before + 2);
  ok(publish);  // nothing changed: no revision
  EXPECT_EQ(client_->readPrefix("/", 0).revision, before + 2);

  std::vector<std::string> keys;
  for (const KeyValue& kv : client_->readPrefix("/policy/", 0).keys) keys.push_back(kv.key);
  EXPECT_EQ(keys, (std::vector<std::string>{"/policy/Acme", "/policy/Acme/Editor"}));
  const std::string other = path("other");
  ASSERT_EQ(tool(syncArgs(other, true)).status, 0);
  EXPECT_EQ(subtree(other), subtree());
}

// Twenty machines' agents and a thousand changes, made in a hundred
// transactions so that the test stays short on a loaded machine (the
// benchmark times a thousand single changes). Each agent has a registry
// and lock of its own, as each machine would.
TEST_F(SyncTest, TwentyAgentsReachTheSameRevision) {
  constexpr int kAgents = 20;
  std::vector<std::unique_ptr<Agent>> agents;
  for (int i = 0; i < kAgents; ++i) {
    const std::string name = "machine" + std::to_string(i);
    std::filesystem::create_directories(path(name + "-locks"));
    ::setenv("VESK_TARNHIVE_LOCK_DIR", path(name + "-locks").c_str(), 1);
    agents.push_back(std::make_unique<Agent>(syncArgs(path(name), false), path(name + ".out"), path(name + ".err")));
  }
  ::setenv("VESK_TARNHIVE_LOCK_DIR", path("locks").c_str(), 1);
  long long last = 0;
  for (int round = 0; round < 100; ++round) {
    std::vector<std::pair<std::string, std::optional<std::string>>> changes;
    for (int k = 0; k < 10; ++k) {
      const int key = (round * 7 + k * 13) % 150;  // keys come back, so some changes are deletions
      changes.emplace_back("App" + std::to_string(key % 10) + "/k" + std::to_string(key),
                           (round + k) % 4 == 0 ? std::nullopt : std::optional(bucketWith(round)));
    }
    last = txn(changes);
  }
  const Json expected = [&] {
    Json buckets = Json::object();
    for (const KeyValue& kv : client_->readPrefix("/policy/", 0).keys) {
      const std::string name = "/Policy" + kv.key.substr(7);
      buckets[name] = Json::parse(kv.value);
      buckets[name.substr(0, name.rfind('/'))] = Json::object();
    }
    return buckets;
  }();
  for (int i = 0; i < kAgents; ++i) {
    ASSERT_TRUE(agents[i]->reaches(last)) << i << ": " << agents[i]->err();
    EXPECT_EQ(agents[i]->stop(), 0);
    EXPECT_EQ(recordedRevision(path("machine" + std::to_string(i))), last);
    EXPECT_EQ(subtree(path("machine" + std::to_string(i))), expected) << i;
  }
}

// etcd over TLS, with authentication on: the agent signs in with a user
// that may only read the prefix, its password in a file.
class SecuredSyncTest : public SyncTest {
 protected:
  bool secured() const override { return true; }

  void etcdctl(const std::string& words) {
    const std::string command = "ETCDCTL_API=3 etcdctl --endpoints " + etcd_->endpoint() + " --cacert " +
                                etcd_->caFile() + " " + words + " >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0) << words;
  }
  std::vector<std::string> securedArgs(std::vector<std::string> args, const std::string& user) {
    args.insert(args.begin() + 3, {"--cacert", etcd_->caFile(), "--user", user, "--password-file", path("password")});
    return args;
  }
};

TEST_F(SecuredSyncTest, SignsInOverTlsAndFollowsWithItsToken) {
  etcdctl("user add root:rootpw");
  etcdctl("user grant-role root root");
  etcdctl("user add agent:agentpw");
  etcdctl("role add policy-reader");
  etcdctl("role grant-permission policy-reader --prefix=true read /policy/");
  etcdctl("user grant-role agent policy-reader");
  etcdctl("auth enable");
  etcdctl("--user root:rootpw put /policy/A '" + bucketWith(1) + "'");
  tool::testing::writeFile(path("password"), "agentpw\n");

  const auto once = tool(securedArgs(syncArgs(registry(), true), "agent"));
  ASSERT_EQ(once.status, 0) << once.err;
  EXPECT_EQ(subtree(), Json({{"/Policy/A", valuesWith(1)}}));
  Agent agent(securedArgs(syncArgs(registry(), false), "agent"), path("agent.out"), path("agent.err"));
  etcdctl("--user root:rootpw put /policy/B '" + bucketWith(2) + "'");
  ASSERT_TRUE(agent.reaches(3)) << agent.err();
  EXPECT_EQ(subtree(), Json({{"/Policy/A", valuesWith(1)}, {"/Policy/B", valuesWith(2)}}));

  // A wrong password, and a server whose certificate is not trusted, are
  // errors (exit 3), not waits.
  const auto refused = tool(securedArgs(syncArgs(registry(), false), "root"));
  EXPECT_EQ(refused.status, 3);
  EXPECT_NE(refused.err.find("authentication failed"), std::string::npos) << refused.err;
  std::vector<std::string> untrusted = syncArgs(registry(), true);
  untrusted.insert(untrusted.begin() + 3, {"--user", "agent:agentpw"});
  EXPECT_EQ(tool(untrusted).status, 3);
}

}  // namespace
}  // namespace vesk::tarnhive::sync::testing
