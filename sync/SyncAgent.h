// The agent that keeps a registry subtree in step with the keys under an
// etcd prefix. It starts from the revision recorded in the subtree's root
// (reading the keys as they were then), or, when there is none or etcd no
// longer has that revision, from a full read at the current revision whose
// difference it applies in one commit; then it follows etcd's watch from
// the next revision and applies each revision in one commit of its own.
// While etcd is away it tries again with growing pauses.
//
// Reports go to standard output (one line per commit) and standard error
// (keys skipped, local changes overwritten, etcd unavailable).
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "EtcdClient.h"
#include "PolicyState.h"
#include "SubtreeWriter.h"

namespace vesk::tarnhive::sync {

class SyncAgent {
 public:
  // REQUIRES: `keyPrefix` ends with "/"; `subtree` is a full name in normal
  // form other than "/".
  SyncAgent(tool::Session& session, EtcdClient& client, std::string keyPrefix, std::u16string subtree);
  SyncAgent(const SyncAgent&) = delete;
  SyncAgent& operator=(const SyncAgent&) = delete;

  // Brings the subtree to etcd's current revision, in one commit, and
  // returns. Throws EtcdError when etcd cannot be read.
  void syncOnce();

  // Follows etcd until `stopping` returns true. Fails (ToolError, exit 3)
  // when etcd refuses the agent's requests or the registry fails.
  void run(const std::function<bool()>& stopping);

 private:
  // The keys as they were at the recorded revision, when etcd still has it
  // and the record is this agent's; sets applied_ then.
  std::optional<PolicyState> recordedState();
  // Reads every key at the current revision and applies the difference
  // from `previous` (nothing: unknown) in one commit.
  void readEverything(const std::optional<PolicyState>& previous);
  void applyRevision(std::int64_t revision, const std::vector<WatchEvent>& events);
  void reportCommit(std::int64_t revision, const CommitOutcome& outcome, const char* how);
  void reportSkipped(std::int64_t revision, const SkippedKey& skipped);

  tool::Session& session_;
  EtcdClient& client_;
  std::string keyPrefix_;
  std::u16string subtree_;
  SubtreeWriter writer_;
  std::optional<PolicyState> state_;  // the keys at applied_
  std::int64_t applied_ = 0;
  std::string clusterId_;
};

}  // namespace vesk::tarnhive::sync
