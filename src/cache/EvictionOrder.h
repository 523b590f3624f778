// The order in which the memory cache drops buckets when it is over budget:
// the most recently changed first.
//
// A bucket's age is measured against one current time as
//
//   age = (whole seconds of (now - stamp)) - (fraction of (now - stamp))
//
// in seconds, as a double. The fraction is subtracted, not added: that is
// how ages have always been ranked, and changing it would change which
// buckets a cache keeps. Buckets are ranked by ascending age; among equal
// ages the later one in name order goes first. The root bucket is never
// ranked, so it is never dropped.
//
// Two ways to rank: evictionOrder sorts a whole collection; EvictionIndex
// keeps the buckets ordered by time stamp as they come and go, and finds the
// first bucket of the same order in O(log n).
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <vector>

#include "bucket/BucketMaps.h"
#include "vesk/tarnhive/AbsoluteTime.h"

namespace vesk::tarnhive {

// The age of a bucket stamped `stamp`, seen at `now`, as defined above.
double evictionAge(const AbsoluteTime& now, const AbsoluteTime& stamp) noexcept;

// Every entry of `byName` except the root's, in eviction order. Reads each
// bucket's time stamp once.
// REQUIRES: the owner of `byName` holds its lock.
std::vector<BucketsByName::const_iterator> evictionOrder(const BucketsByName& byName,
                                                         const AbsoluteTime& now);

// The entries of one collection ordered by the stamp recorded in each
// (NamedBucket::stamp), oldest first, and among equal stamps the later name
// first. For d = now - stamp in [n, n + 1) the age is 2n - d: the order is
// one-second windows measured back from now, newest window first, and inside
// a window the older stamps first. The index walks that order from its
// ends, so first() costs O(log n) plus O(log n) for every further stamp
// whose age rounds to the same double as the first one.
//
// The walk is exact while every stamp lies within 2^52 seconds of now (whole
// seconds then convert to doubles exactly); ranks() says whether it does.
//
// REQUIRES: the entries outlive their place in the index, and an entry's
// recorded stamp does not change while it is indexed. Not thread-safe: the
// owning collection's lock guards it.
class EvictionIndex {
 public:
  // Indexes `entry` under its recorded stamp. May throw std::bad_alloc.
  void insert(BucketsByName::const_iterator entry);
  // Removes `entry`, indexed under `stamp`; nothing when it is not indexed.
  void erase(BucketsByName::const_iterator entry, const AbsoluteTime& stamp) noexcept;
  // Moves `entry` from `oldStamp` to its recorded stamp without allocating.
  void restamp(BucketsByName::const_iterator entry, const AbsoluteTime& oldStamp) noexcept;
  void clear() noexcept { keys_.clear(); }
  std::size_t size() const noexcept { return keys_.size(); }

  // True when first() ranks exactly as evictionOrder at `now`.
  bool ranks(const AbsoluteTime& now) const noexcept;
  // The first indexed entry in eviction order at `now`; none when empty.
  // REQUIRES: ranks(now).
  std::optional<BucketsByName::const_iterator> first(const AbsoluteTime& now) const;

 private:
  struct Key {
    AbsoluteTime stamp;
    BucketsByName::const_iterator entry;
  };
  // Stamps ascending, then names descending; a bare stamp compares with
  // the keys of that stamp as equal.
  struct KeyOrder {
    using is_transparent = void;
    bool operator()(const Key& a, const Key& b) const noexcept;
    bool operator()(const Key& a, const AbsoluteTime& b) const noexcept;
    bool operator()(const AbsoluteTime& a, const Key& b) const noexcept;
  };
  using Keys = std::set<Key, KeyOrder>;

  // The first key of the window `seconds` (stamps in (now - seconds - 1,
  // now - seconds]).
  Keys::const_iterator windowStart(const AbsoluteTime& now, std::int64_t seconds) const;
  // The first key of the next stamp in eviction order after the stamp of
  // `run`; end() after the last.
  Keys::const_iterator nextRun(const AbsoluteTime& now, Keys::const_iterator run) const;

  Keys keys_;
};

}  // namespace vesk::tarnhive
