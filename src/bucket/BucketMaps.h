// The ordered maps that bucket collections keep and that a commit hands to
// the store: buckets by full name (ignoring case) with the memory use and
// time stamp recorded when each was added, and sets of full names.
#pragma once

#include <cstdint>
#include <map>
#include <set>

#include "vesk/orlo/RefCounted.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/orlo/StringCase.h"
#include "vesk/tarnhive/AbsoluteTime.h"
#include "vesk/tarnhive/IBucket.h"

namespace vesk::tarnhive {

struct NamedBucket {
  orlo::RefPtr<IBucket> bucket;
  std::uint32_t memUsage = 0;
  // The memory cache ranks buckets for eviction by this stamp.
  AbsoluteTime stamp;
};

using BucketsByName = std::map<orlo::WideString, NamedBucket, orlo::IgnoreCaseLess>;
using NameSet = std::set<orlo::WideString, orlo::IgnoreCaseLess>;

}  // namespace vesk::tarnhive
