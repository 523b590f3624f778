// What other processes' commits changed, in names: the store reads it when
// it catches up with the files, for the change feed. A commit's block lists
// the digests it wrote and deleted; the names come from the records (for a
// deletion, from the record it hides).
#pragma once

#include <cstdint>
#include <vector>

#include "store/IndexLoader.h"
#include "store/StoreState.h"

namespace vesk::tarnhive::store {

// One commit, or the net change of several that a compaction folded before
// this process read them.
struct StoreChange {
  bool net = false;
  // Every digest the commit wrote or deleted.
  std::vector<Digest> touched;
  // Their names, when they were asked for.
  std::vector<orlo::WideString> written;
  std::vector<orlo::WideString> deleted;
};

// The commits read from the file, with the names behind their digests when
// `withNames`. A deletion whose record the index did not hold has no name
// and is left out of the names (it deleted nothing the process knew).
std::vector<StoreChange> describeCommits(StoreState& state,
                                         const std::vector<CommitDigests>& commits,
                                         bool withNames);

// What the file the store knew (its live index, the file still open, its
// valid end) and the file now in force differ by: buckets new or changed
// (their records' bytes differ) and buckets gone, marked as a net change.
StoreChange netChange(const LiveIndex& before, orlo::osdep::BinaryFile& beforeFile,
                      std::int64_t beforeEnd, StoreState& now);

}  // namespace vesk::tarnhive::store
