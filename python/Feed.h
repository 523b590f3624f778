// What the Python module follows of the registry's change feed: the commits
// of every process, bucket by bucket, restricted to one subtree. Nothing
// here knows Python; every failure is a ToolError (ToolError.h) carrying the
// status code.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "Session.h"

namespace vesk::tarnhive::python {

// One bucket written or deleted by one commit.
struct FeedChange {
  std::uint64_t commit = 0;  // the feed's cursor of the commit
  std::u16string bucket;     // full name
  bool written = false;      // false: deleted
  bool net = false;          // the net change of several commits that a compaction folded
};

class Feed {
 public:
  // Opens a feed on the process's bucket manager, starting at the newest
  // commit: the changes it gives are those committed from now on, by any
  // process, to `root` or below it.
  explicit Feed(const std::u16string& root);
  Feed(const Feed&) = delete;
  Feed& operator=(const Feed&) = delete;

  // Waits up to `milliseconds` for a commit not yet read (of any bucket);
  // true when there is one.
  bool wait(std::uint32_t milliseconds);
  // The changes of the commits not yet read that touch the subtree, commit
  // by commit in order and by name within a commit; empty when the commits
  // touched only other buckets.
  std::vector<FeedChange> read();

 private:
  tool::RefPtr<IChangeFeed> feed_;
  std::u16string root_;
  std::uint64_t cursor_ = 0;
};

}  // namespace vesk::tarnhive::python
