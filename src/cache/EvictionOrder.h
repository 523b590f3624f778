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
#pragma once

#include <vector>

#include "cache/BucketMaps.h"
#include "vesk/tarnhive/AbsoluteTime.h"

namespace vesk::tarnhive {

// The age of a bucket stamped `stamp`, seen at `now`, as defined above.
double evictionAge(const AbsoluteTime& now, const AbsoluteTime& stamp) noexcept;

// Every entry of `byName` except the root's, in eviction order. Reads each
// bucket's time stamp once.
// REQUIRES: the owner of `byName` holds its lock.
std::vector<BucketsByName::const_iterator> evictionOrder(const BucketsByName& byName,
                                                         const AbsoluteTime& now);

}  // namespace vesk::tarnhive
