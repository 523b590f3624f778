// The fixture of the agent's end-to-end tests: a registry and lock
// directory of the test's own (ToolTest), an etcd of its own, agents run
// as child processes of the built tool, and helpers to change keys and to
// read back what a registry subtree holds.
#pragma once

#include <signal.h>

#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "EtcdServer.h"
#include "ToolRunner.h"

namespace vesk::tarnhive::sync::testing {

using tool::testing::eventually;
using tool::testing::readFile;
using tool::testing::spawn;
using tool::testing::waitFor;
using Json = nlohmann::json;

// The JSON text of a bucket holding one int32 value named "n".
inline std::string bucketWith(int n) {
  return R"({"n": {"type": "int32", "value": )" + std::to_string(n) + "}}";
}

// A running agent: `tarnhive sync` on a registry, with its output in files.
class Agent {
 public:
  Agent(std::vector<std::string> args, std::string out, std::string err)
      : out_(std::move(out)), err_(std::move(err)), pid_(spawn(args, "/dev/null", out_, err_)) {}
  ~Agent() { stop(); }
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  // Asks the agent to stop, as a service manager does; its exit status.
  int stop() {
    if (pid_ <= 0) return status_;
    ::kill(pid_, SIGTERM);
    status_ = waitFor(pid_);
    pid_ = -1;
    return status_;
  }

  std::string out() const { return readFile(out_); }
  std::string err() const { return readFile(err_); }

  // The revisions of the commits it reported, in order.
  std::vector<long long> revisions() const {
    std::vector<long long> list;
    std::istringstream lines(out());
    for (std::string line; std::getline(lines, line);) {
      if (line.rfind("revision ", 0) == 0) list.push_back(std::stoll(line.substr(9)));
    }
    return list;
  }
  // Waits until it has applied `revision` (bounded; false on time-out).
  bool reaches(long long revision) const {
    return eventually([&] {
      const auto list = revisions();
      return !list.empty() && list.back() >= revision;
    });
  }

 private:
  std::string out_;
  std::string err_;
  pid_t pid_;
  int status_ = -1;
};

class SyncTest : public tool::testing::ToolTest {
 protected:
  static constexpr char kPrefix[] = "/policy";
  static constexpr char kSubtree[] = "/Policy";

  void SetUp() override {
    ToolTest::SetUp();
    etcd_ = std::make_unique<EtcdServer>(path("etcd"), secured());
    etcd_->start();
    client_ = std::make_unique<EtcdClient>(etcd_->options());
  }
  virtual bool secured() const { return false; }  // TLS (and then passwords)

  void TearDown() override {
    etcd_.reset();
    ToolTest::TearDown();
  }

  // sync's arguments for the test's etcd, prefix and subtree.
  std::vector<std::string> syncArgs(const std::string& registry, bool once) const {
    std::vector<std::string> args{"-d", registry, "sync", "--endpoints", etcd_->endpoint(), "--prefix", kPrefix, kSubtree};
    if (once) args.insert(args.begin() + 3, "--once");
    return args;
  }
  std::unique_ptr<Agent> startAgent(const std::string& name = "agent") {
    return std::make_unique<Agent>(syncArgs(registry(), false), path(name + ".out"), path(name + ".err"));
  }

  // Changes keys below the prefix ("A/x" is key /policy/A/x), each call
  // one revision; returns it.
  long long put(const std::string& key, const std::string& json) { return txn({{key, json}}); }
  long long remove(const std::string& key) { return txn({{key, std::nullopt}}); }
  long long txn(const std::vector<std::pair<std::string, std::optional<std::string>>>& changes) {
    std::vector<TxnOperation> operations;
    for (const auto& [key, value] : changes) operations.push_back({std::string(kPrefix) + "/" + key, value});
    return *client_->commitIfUnchanged("/never/", 0, operations);
  }

  // What the registry's subtree holds: bucket name to values, the record
  // in the subtree's root left out.
  Json subtree(const std::string& registry) {
    const Json exported = Json::parse(ok({"-d", registry, "export", kSubtree}));
    Json buckets = exported["buckets"];
    buckets.erase(kSubtree);
    return buckets;
  }
  Json subtree() { return subtree(registry()); }

  // The record's revision in the registry's subtree root.
  long long recordedRevision(const std::string& registry) {
    return std::stoll(ok({"-d", registry, "get", kSubtree, "etcdRevision"}));
  }

  std::unique_ptr<EtcdServer> etcd_;
  std::unique_ptr<EtcdClient> client_;
};

}  // namespace vesk::tarnhive::sync::testing
