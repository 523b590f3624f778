// Ranks a whole cache with one sort: every age is computed once against the
// same current time, then ages ascend and ties go to the later name.
#include "cache/EvictionOrder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "bucket/BucketNames.h"

namespace vesk::tarnhive {

namespace {

struct Ranked {
  double age;
  std::size_t position;  // in name order
  BucketsByName::const_iterator entry;
};

}  // namespace

double evictionAge(const AbsoluteTime& now, const AbsoluteTime& stamp) noexcept {
  const AbsoluteTime age = now - stamp;
  return static_cast<double>(age.seconds) - std::ldexp(static_cast<double>(age.fraction), -64);
}

std::vector<BucketsByName::const_iterator> evictionOrder(const BucketsByName& byName,
                                                         const AbsoluteTime& now) {
  std::vector<Ranked> ranked;
  ranked.reserve(byName.size());
  std::size_t position = 0;
  for (auto entry = byName.begin(); entry != byName.end(); ++entry, ++position) {
    if (isRootName(entry->first)) continue;
    ranked.push_back({evictionAge(now, entry->second.bucket->getTimestamp()), position, entry});
  }
  std::sort(ranked.begin(), ranked.end(), [](const Ranked& a, const Ranked& b) {
    if (a.age != b.age) return a.age < b.age;
    return a.position > b.position;
  });
  std::vector<BucketsByName::const_iterator> order;
  order.reserve(ranked.size());
  for (const Ranked& r : ranked) order.push_back(r.entry);
  return order;
}

}  // namespace vesk::tarnhive
