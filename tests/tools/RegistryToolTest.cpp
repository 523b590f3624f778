// The verbs that work on the registry files: watch across processes and
// compactions, check on clean and damaged files, backup, and the lock
// time-out.
#include <nlohmann/json.hpp>

#include <map>
#include <set>

#include "ToolRunner.h"
#include "vesk/tarnhive/Tarnhive.h"

namespace vesk::tarnhive::tool::testing {
namespace {

class RegistryToolTest : public ToolTest {
 protected:
  // Flips the bits of one byte of registry.bin.
  void flipByte(std::uint64_t offset) {
    std::string bytes = readFile(registry() + "/registry.bin");
    ASSERT_LT(offset, bytes.size());
    bytes[offset] = static_cast<char>(~bytes[offset]);
    writeFile(registry() + "/registry.bin", bytes);
  }
};

TEST_F(RegistryToolTest, WatchReportsEveryCommitOnceAndInOrderAcrossCompactions) {
  ok({"set", "-p", "/w", "start", "int8", "0"});
  const pid_t watcher = spawn({"-d", registry(), "--json", "watch", "-v", "/w"}, path("empty"),
                              path("watch.out"), path("watch.err"));
  ASSERT_TRUE(eventually([&] { return readFile(path("watch.err")).find("watching") != std::string::npos; }));

  // Every tool run opens the registry, which compacts it; `compact` and a
  // small size limit compact it more, so the watcher sees files replaced.
  writeFile(path("small.ini"), "[Tarnhive]\nDiskMaxRegistryFileSizeKB = 1\n");
  constexpr int kCommits = 8;
  for (int i = 1; i <= kCommits; ++i) {
    std::vector<std::string> args{"set", "-p", "/w/c" + std::to_string(i), "n", "int32", std::to_string(i)};
    if (i % 3 == 0) args.insert(args.begin(), {"--ini", path("small.ini")});
    ok(args);
    if (i == kCommits / 2) ok({"compact"});
  }
  ok({"set", "-p", "/elsewhere", "n", "int32", "1"});  // outside the watched path
  ok({"set", "-p", "/w/c1", "n", "int32", "100"});

  std::vector<nlohmann::json> lines;
  const auto seenAll = [&] {
    lines.clear();
    std::istringstream out(readFile(path("watch.out")));
    for (std::string line; std::getline(out, line);) lines.push_back(nlohmann::json::parse(line));
    return !lines.empty() && lines.back().dump().find("100") != std::string::npos;
  };
  EXPECT_TRUE(eventually(seenAll)) << readFile(path("watch.out"));
  ::kill(watcher, SIGTERM);
  waitFor(watcher);

  // Each commit's bucket appears once, the commits in the order made (a
  // report that folds several commits of a compaction lists them together).
  std::vector<std::set<int>> order;
  std::map<int, int> reports;
  for (const nlohmann::json& line : lines) {
    std::set<int> commits;
    for (const nlohmann::json& change : line["changes"]) {
      const std::string bucket = change["bucket"];
      if (bucket.rfind("/w/c", 0) != 0) continue;
      const int k = std::stoi(bucket.substr(4));
      if (change["value"] == 100) continue;
      EXPECT_EQ(change["value"], k) << line.dump();
      commits.insert(k);
      ++reports[k];
    }
    if (!commits.empty()) order.push_back(commits);
    for (const nlohmann::json& name : line["written"]) EXPECT_NE(name, "/elsewhere");
  }
  for (int k = 1; k <= kCommits; ++k) EXPECT_EQ(reports[k], 1) << "commit " << k;
  for (std::size_t i = 1; i < order.size(); ++i) EXPECT_LT(*order[i - 1].rbegin(), *order[i].begin());
  EXPECT_EQ(lines.back()["changes"][0]["value"], 100);
}

TEST_F(RegistryToolTest, CheckPassesACleanRegistryAndFindsAFlippedByte) {
  ok({"set", "-p", "/A/B", "v", "string", "some text to damage"});
  ok({"set", "-p", "/A/C", "v", "int8", "1"});
  const std::string clean = ok({"check"});
  EXPECT_EQ(clean.rfind("ok: ", 0), 0u) << clean;
  EXPECT_NE(clean.find("0 problems"), std::string::npos);

  flipByte(40);  // inside the first record
  const Outcome damaged = tool({"check"});
  EXPECT_EQ(damaged.status, 3);
  EXPECT_NE(damaged.out.find("registry.bin offset "), std::string::npos) << damaged.out;
  EXPECT_NE(damaged.out.find("checksum does not match"), std::string::npos) << damaged.out;
  const Outcome asJson = tool({"--json", "check"});
  EXPECT_EQ(asJson.status, 3);
  EXPECT_FALSE(nlohmann::json::parse(asJson.out)["ok"].get<bool>());
}

TEST_F(RegistryToolTest, ADamagedIndexFailsOtherVerbsWithTheLibrarysCode) {
  ok({"set", "-p", "/A", "v", "int8", "1"});
  const std::uint64_t size = readFile(registry() + "/registry.bin").size();
  flipByte(size - 24 + 7);  // the last block's start, now far out of range
  EXPECT_EQ(tool({"check"}).status, 3);
  const Outcome listing = tool({"ls"});
  EXPECT_EQ(listing.status, 3);
  EXPECT_NE(listing.err.find("kSTOREDAMAGED (-314532)"), std::string::npos) << listing.err;
}

TEST_F(RegistryToolTest, BackupOpensAsTheSameRegistry) {
  ok({"set", "-p", "/A/B", "v", "float64", "2.5"});
  ok({"set", "-p", "/A/C", "w", "uint64", "7"});
  const std::string copy = path("backup");
  ok({"backup", copy});
  EXPECT_EQ(tool({"-d", copy, "export"}).out, ok({"export"}));
  EXPECT_EQ(tool({"-d", copy, "check"}).status, 0);
  EXPECT_EQ(tool({"backup", copy}).status, 2);  // not empty any more
}

TEST_F(RegistryToolTest, ALockThatIsNeverReleasedEndsInTheTimeOut) {
  ok({"set", "-p", "/A", "v", "int8", "1"});
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t holder = ::fork();
  if (holder == 0) {
    TarnhiveStatus status;
    IBucketManager* manager = nullptr;
    orlo::WideString directory;
    for (char c : registry()) directory.append(static_cast<orlo::WChar>(c));
    GetInterface(2, &status)->createBucketManager(&manager, directory, orlo::WideString(), &status);
    Guid token;
    if (manager != nullptr) manager->acquireLock(&token, &status);
    (void)!::write(ready[1], "x", 1);
    ::pause();
    ::_exit(0);
  }
  char signal = 0;
  ASSERT_EQ(::read(ready[0], &signal, 1), 1);

  for (const auto& args : {std::vector<std::string>{"--timeout", "0.5", "set", "/A", "v", "int8", "2"},
                           std::vector<std::string>{"--timeout", "0.5", "ls"}}) {
    const Outcome outcome = tool(args);
    EXPECT_EQ(outcome.status, 3);
    EXPECT_NE(outcome.err.find("waiting for the registry lock"), std::string::npos) << outcome.err;
  }
  ::kill(holder, SIGKILL);
  waitFor(holder);
  ::close(ready[0]);
  ::close(ready[1]);
  EXPECT_EQ(ok({"--timeout", "30", "get", "/A", "v"}), "1\n");
}

}  // namespace
}  // namespace vesk::tarnhive::tool::testing
