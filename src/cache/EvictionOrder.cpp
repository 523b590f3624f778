// Ranks a cache two ways: one sort of the whole collection, every age
// computed once against the same current time; and the index, which walks
// the same order from a set ordered by time stamp.
//
// Why the walk gives the sort's order. Write d = now - stamp = n + f with n
// whole and f in [0, 1). The age is the double nearest n - f' with f' the
// fraction rounded to a double; with |n| below 2^52, n - 1 and n are doubles
// and rounding is monotone, so
//  - inside the window n the age lies in [n - 1, n] and never falls as the
//    stamp grows (a newer stamp has a smaller f);
//  - the window n comes wholly before the window n + 1, and the two can only
//    share the age n itself.
// The walk visits the windows newest first and each from its oldest stamp
// up, so the ages it meets never fall, and buckets of equal age are met one
// after another. The sort puts those in descending name order; the set keeps
// the buckets of one stamp in that order already, so the first bucket of a
// run of equal ages is the latest name among the first keys of its stamps.
#include "cache/EvictionOrder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

#include "bucket/BucketNames.h"

namespace vesk::tarnhive {

namespace {

struct Ranked {
  double age;
  std::size_t position;  // in name order
  BucketsByName::const_iterator entry;
};

// Whole seconds convert to doubles exactly below this distance from now.
constexpr std::int64_t kExactSeconds = std::int64_t{1} << 52;
// Below this the difference of two seconds fields cannot overflow.
constexpr std::int64_t kSafeSeconds = std::int64_t{1} << 62;

bool earlier(const AbsoluteTime& a, const AbsoluteTime& b) noexcept {
  return a.seconds != b.seconds ? a.seconds < b.seconds : a.fraction < b.fraction;
}

bool safe(std::int64_t seconds) noexcept {
  return seconds > -kSafeSeconds && seconds < kSafeSeconds;
}

// The whole seconds of now - stamp: the window the stamp falls in.
std::int64_t windowOf(const AbsoluteTime& now, const AbsoluteTime& stamp) noexcept {
  return (now - stamp).seconds;
}

bool nearNow(const AbsoluteTime& now, const AbsoluteTime& stamp) noexcept {
  if (!safe(stamp.seconds)) return false;
  const std::int64_t window = windowOf(now, stamp);
  return window > -kExactSeconds && window < kExactSeconds;
}

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

// ---- EvictionIndex ----

bool EvictionIndex::KeyOrder::operator()(const Key& a, const Key& b) const noexcept {
  if (!(a.stamp == b.stamp)) return earlier(a.stamp, b.stamp);
  return orlo::IgnoreCaseLess()(b.entry->first, a.entry->first);
}

bool EvictionIndex::KeyOrder::operator()(const Key& a, const AbsoluteTime& b) const noexcept {
  return earlier(a.stamp, b);
}

bool EvictionIndex::KeyOrder::operator()(const AbsoluteTime& a, const Key& b) const noexcept {
  return earlier(a, b.stamp);
}

void EvictionIndex::insert(BucketsByName::const_iterator entry) {
  keys_.insert(Key{entry->second.stamp, entry});
}

void EvictionIndex::erase(BucketsByName::const_iterator entry, const AbsoluteTime& stamp) noexcept {
  keys_.erase(Key{stamp, entry});
}

void EvictionIndex::restamp(BucketsByName::const_iterator entry,
                            const AbsoluteTime& oldStamp) noexcept {
  auto node = keys_.extract(Key{oldStamp, entry});
  if (node.empty()) return;
  node.value().stamp = entry->second.stamp;
  keys_.insert(std::move(node));
}

bool EvictionIndex::ranks(const AbsoluteTime& now) const noexcept {
  if (keys_.empty()) return true;
  // The stamps between the oldest and the newest are as near.
  return safe(now.seconds) && nearNow(now, keys_.begin()->stamp) &&
         nearNow(now, std::prev(keys_.end())->stamp);
}

std::optional<BucketsByName::const_iterator> EvictionIndex::first(const AbsoluteTime& now) const {
  if (keys_.empty()) return std::nullopt;
  auto run = windowStart(now, windowOf(now, std::prev(keys_.end())->stamp));
  auto best = run;
  const double age = evictionAge(now, run->stamp);
  for (run = nextRun(now, run); run != keys_.end() && evictionAge(now, run->stamp) == age;
       run = nextRun(now, run)) {
    if (orlo::IgnoreCaseLess()(best->entry->first, run->entry->first)) best = run;
  }
  return best->entry;
}

EvictionIndex::Keys::const_iterator EvictionIndex::windowStart(const AbsoluteTime& now,
                                                               std::int64_t seconds) const {
  return keys_.upper_bound(AbsoluteTime{now.fraction, now.seconds - seconds - 1});
}

EvictionIndex::Keys::const_iterator EvictionIndex::nextRun(const AbsoluteTime& now,
                                                           Keys::const_iterator run) const {
  const std::int64_t window = windowOf(now, run->stamp);
  const auto next = keys_.upper_bound(run->stamp);
  if (next != keys_.end() && windowOf(now, next->stamp) == window) return next;
  // The window is done: on to the next older one that holds a stamp.
  const auto start = windowStart(now, window);
  if (start == keys_.begin()) return keys_.end();
  return windowStart(now, windowOf(now, std::prev(start)->stamp));
}

}  // namespace vesk::tarnhive
