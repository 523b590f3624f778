// The agent's loop. Revisions are applied strictly in order and at most
// once: a revision at or below the last one applied is ignored, and every
// watch starts at the revision after it, so a reconnection neither skips
// nor repeats one. A compacted history is the one gap that cannot be
// replayed; it is closed by a full read, whose difference is one commit.
#include "SyncAgent.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <set>
#include <thread>

#include "Names.h"
#include "ToolError.h"

namespace vesk::tarnhive::sync {
namespace {

void note(const std::string& message) {
  std::fprintf(stderr, "tarnhive: sync: %s\n", message.c_str());
  std::fflush(stderr);
}

std::string seconds(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

// Pauses between attempts to reach etcd: 0.2 s, doubling up to 5 s, cut
// short when the agent is asked to stop.
class Backoff {
 public:
  double next() const { return delay_; }
  void wait(const std::function<bool()>& stopping) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(delay_);
    while (!stopping() && std::chrono::steady_clock::now() < until) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    delay_ = std::min(delay_ * 2, kLongest);
  }
  void reset() { delay_ = kFirst; }

 private:
  static constexpr double kFirst = 0.2;
  static constexpr double kLongest = 5;
  double delay_ = kFirst;
};

// The buckets a change of `bucket` may alter: itself and its parents below
// the subtree's root.
void addWithParents(const std::u16string& bucket, std::size_t rootLength, std::vector<std::u16string>& names) {
  for (std::u16string name = bucket; name.size() > rootLength; name = tool::parentOf(name)) {
    names.push_back(name);
  }
}

}  // namespace

SyncAgent::SyncAgent(tool::Session& session, EtcdClient& client, std::string keyPrefix,
                     std::u16string subtree)
    : session_(session),
      client_(client),
      keyPrefix_(std::move(keyPrefix)),
      subtree_(std::move(subtree)),
      writer_(session, subtree_) {}

std::optional<PolicyState> SyncAgent::recordedState() {
  const SyncRecord record = writer_.record();
  if (record.revision <= 0 || record.keyPrefix != keyPrefix_) return std::nullopt;
  Snapshot snapshot;
  try {
    snapshot = client_.readPrefix(keyPrefix_, record.revision);
  } catch (const EtcdError& error) {
    if (error.failure() != EtcdFailure::kHistoryGone) throw;
    note("revision " + std::to_string(record.revision) +
         " is no longer in etcd's history; reading every key at the current revision");
    return std::nullopt;
  }
  if (snapshot.clusterId != record.clusterId) {
    note("the recorded revision is another etcd cluster's; reading every key at the current revision");
    return std::nullopt;
  }
  PolicyState state(keyPrefix_, subtree_);
  for (const KeyValue& kv : snapshot.keys) state.put(kv.key, kv.value);  // reported when applied
  applied_ = record.revision;
  clusterId_ = snapshot.clusterId;
  return state;
}

void SyncAgent::readEverything(const std::optional<PolicyState>& previous) {
  const Snapshot snapshot = client_.readPrefix(keyPrefix_, 0);
  PolicyState next = previous ? *previous : PolicyState(keyPrefix_, subtree_);
  std::set<std::string> present;
  for (const KeyValue& kv : snapshot.keys) present.insert(kv.key);
  for (const std::string& key : next.keys()) {
    if (present.count(key) == 0) next.remove(key);
  }
  for (const KeyValue& kv : snapshot.keys) {
    for (const SkippedKey& skipped : next.put(kv.key, kv.value)) reportSkipped(snapshot.revision, skipped);
  }
  std::vector<std::u16string> names = next.bucketNames();
  if (previous) {
    const std::vector<std::u16string> old = previous->bucketNames();
    names.insert(names.end(), old.begin(), old.end());
  }
  const auto beforeOf = [&](const std::u16string& name) -> std::optional<Desired> {
    if (!previous) return std::nullopt;
    return previous->desired(name);
  };
  const SyncRecord record{snapshot.revision, snapshot.clusterId, keyPrefix_};
  const CommitOutcome outcome =
      writer_.commit(names, true, [&](const std::u16string& name) { return next.desired(name); }, beforeOf, record);
  state_ = std::move(next);
  applied_ = snapshot.revision;
  clusterId_ = snapshot.clusterId;
  reportCommit(snapshot.revision, outcome, " (every key read)");
}

void SyncAgent::applyRevision(std::int64_t revision, const std::vector<WatchEvent>& events) {
  if (revision <= applied_) return;
  std::vector<std::u16string> names;
  std::string ignored;
  for (const WatchEvent& event : events) {
    if (const auto bucket = state_->bucketOf(event.kv.key, &ignored)) addWithParents(*bucket, subtree_.size(), names);
  }
  std::map<std::u16string, Desired> before;
  for (const std::u16string& name : names) before.emplace(name, state_->desired(name));
  for (const WatchEvent& event : events) {
    if (event.deleted) {
      state_->remove(event.kv.key);
      continue;
    }
    for (const SkippedKey& skipped : state_->put(event.kv.key, event.kv.value)) reportSkipped(revision, skipped);
  }
  const auto beforeOf = [&](const std::u16string& name) -> std::optional<Desired> {
    const auto found = before.find(name);
    if (found == before.end()) return std::nullopt;
    return found->second;
  };
  const SyncRecord record{revision, clusterId_, keyPrefix_};
  const CommitOutcome outcome = writer_.commit(
      names, false, [&](const std::u16string& name) { return state_->desired(name); }, beforeOf, record);
  applied_ = revision;
  reportCommit(revision, outcome, "");
}

void SyncAgent::syncOnce() {
  const std::optional<PolicyState> previous = recordedState();
  readEverything(previous);
}

void SyncAgent::run(const std::function<bool()>& stopping) {
  Backoff backoff;
  bool historyGone = false;
  while (!stopping()) {
    try {
      if (!state_) {
        state_ = recordedState();
        if (state_) {
          note("resuming after revision " + std::to_string(applied_));
        } else {
          readEverything(std::nullopt);
        }
        backoff.reset();
      } else if (historyGone) {
        readEverything(state_);
        historyGone = false;
        backoff.reset();
      }
      client_.watchPrefix(
          keyPrefix_, applied_ + 1,
          [&](std::int64_t revision, const std::vector<WatchEvent>& events) {
            applyRevision(revision, events);
            backoff.reset();
          },
          stopping);
      if (!stopping()) {
        note("etcd ended the watch; watching again in " + seconds(backoff.next()) + " s");
        backoff.wait(stopping);
      }
    } catch (const EtcdError& error) {
      switch (error.failure()) {
        case EtcdFailure::kHistoryGone:
          note(std::string(error.what()) + "; reading every key at the current revision");
          historyGone = true;
          break;
        case EtcdFailure::kUnavailable:
          note(std::string(error.what()) + "; trying again in " + seconds(backoff.next()) + " s");
          backoff.wait(stopping);
          break;
        case EtcdFailure::kRejected: tool::fail(tool::kExitDamaged, error.what());
      }
    }
  }
}

void SyncAgent::reportCommit(std::int64_t revision, const CommitOutcome& outcome, const char* how) {
  for (const std::u16string& name : outcome.overwritten) {
    note(tool::displayName(name) + " had been changed locally; revision " + std::to_string(revision) +
         " replaced it");
  }
  std::printf("revision %lld%s: %zu buckets written, %zu deleted\n", static_cast<long long>(revision), how,
              outcome.written, outcome.deleted);
  std::fflush(stdout);
}

void SyncAgent::reportSkipped(std::int64_t revision, const SkippedKey& skipped) {
  note("key " + quotedKey(skipped.key) + " at revision " + std::to_string(revision) + " skipped: " + skipped.reason);
}

}  // namespace vesk::tarnhive::sync
