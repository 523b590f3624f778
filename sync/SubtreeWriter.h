// Brings buckets of the registry subtree to the form the etcd keys give
// them, in one commit together with the record of the revision (so a
// reader never sees half of a revision, and a restart never applies one
// twice), and finds the buckets that were changed locally since the agent
// last wrote them. Writes go through the library's public interfaces, under
// the machine-wide lock, like any other client's.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "PolicyState.h"
#include "Session.h"
#include "SyncRecord.h"

namespace vesk::tarnhive::sync {

using vesk::orlo::RefPtr;

struct CommitOutcome {
  std::size_t written = 0;
  std::size_t deleted = 0;
  // Buckets that were changed and did not hold what the agent last made
  // them: someone changed them locally.
  std::vector<std::u16string> overwritten;
};

class SubtreeWriter {
 public:
  // The form a bucket should have after the commit.
  using AfterOf = std::function<Desired(const std::u16string& bucket)>;
  // The form the agent last gave a bucket; nothing when it does not know.
  using BeforeOf = std::function<std::optional<Desired>(const std::u16string& bucket)>;

  // REQUIRES: `subtree` is a full name in normal form other than "/".
  SubtreeWriter(tool::Session& session, std::u16string subtree);
  SubtreeWriter(const SubtreeWriter&) = delete;
  SubtreeWriter& operator=(const SubtreeWriter&) = delete;

  // The record in the subtree's root (revision 0 when there is none).
  SyncRecord record();

  // In one commit: brings each of `buckets` (and with `wholeSubtree` every
  // bucket below the subtree's root as well) to `afterOf`'s form, and
  // stores `record` in the subtree's root; commits nothing when nothing
  // differs. Fails (ToolError) when the registry refuses; nothing is
  // committed then.
  CommitOutcome commit(const std::vector<std::u16string>& buckets, bool wholeSubtree,
                       const AfterOf& afterOf, const BeforeOf& beforeOf, const SyncRecord& record);

 private:
  void write(tool::Update& update, RefPtr<IBucket> bucket, const std::u16string& name,
             const tool::NamedValues& values);
  void writeRecord(tool::Update& update, const SyncRecord& record);

  tool::Session& session_;
  std::u16string subtree_;
};

}  // namespace vesk::tarnhive::sync
