// The memory cache: usage accounting, when a pass runs and how much it
// drops, and the eviction order checked against a plain ordered insertion.
#include <gtest/gtest.h>

#include <list>
#include <random>
#include <vector>

#include "cache/BucketCache.h"
#include "cache/EvictionOrder.h"
#include "support/BucketTesting.h"

namespace vesk::tarnhive {
namespace {

using namespace test;
using orlo::RefPtr;
using orlo::WideString;
using CachePtr = RefPtr<BucketCache>;

// The eviction order built as it was first described: a list that each
// bucket is inserted into, in name order, before the first listed bucket
// whose age is at least its own. Age: whole seconds minus the fraction.
std::vector<std::string> referenceOrder(const BucketsByName& byName, const AbsoluteTime& now) {
  auto ageOf = [&](const std::string& name) {
    const AbsoluteTime stamp = byName.at(wide(name)).bucket->getTimestamp();
    const std::uint64_t fraction = now.fraction - stamp.fraction;
    const std::int64_t seconds = now.seconds - stamp.seconds - (now.fraction < stamp.fraction);
    return static_cast<double>(seconds) - static_cast<double>(fraction) / 18446744073709551616.0;
  };
  std::list<std::string> list;
  for (const auto& entry : byName) {
    const std::string name = ascii(entry.first);
    if (name == "/") continue;
    auto at = list.begin();
    while (at != list.end() && ageOf(*at) < ageOf(name)) ++at;
    list.insert(at, name);
  }
  return {list.begin(), list.end()};
}

std::vector<std::string> namesOf(const std::vector<BucketsByName::const_iterator>& order) {
  std::vector<std::string> names;
  for (const auto& entry : order) names.push_back(ascii(entry->first));
  return names;
}

// Buckets /b10, /b11, ... and the root, stamped from a few whole seconds and
// fractions, so that equal ages are common and the subtracted fraction
// reorders buckets a second apart.
class EvictionOrder : public ::testing::Test {
 protected:
  BucketsByName stampedBuckets(std::uint32_t seed, int count, bool equalStamps) {
    static constexpr std::uint64_t kFractions[] = {0, 1ull << 62, 1ull << 63, ~0ull};
    std::mt19937 rng(seed);
    BucketsByName byName;
    for (int i = 0; i <= count; ++i) {
      if (!equalStamps) TestClock::set(100 + rng() % 3, kFractions[rng() % 4]);
      const WideString name = wide(i == count ? "/" : "/b" + std::to_string(10 + i));
      byName[name].bucket = RefPtr<IBucket>(newBucket(name).get());
    }
    return byName;
  }

  TestClock clock{100};
  const AbsoluteTime now{1ull << 63, 102};
};

TEST_F(EvictionOrder, MatchesOrderedInsertion) {
  for (std::uint32_t seed = 1; seed <= 50; ++seed) {
    const BucketsByName byName = stampedBuckets(seed, 40, seed % 5 == 0);
    const std::vector<std::string> order = namesOf(evictionOrder(byName, now));
    EXPECT_EQ(order, referenceOrder(byName, now)) << "seed " << seed;
    EXPECT_EQ(order.size(), 40u) << "the root is never ranked";
  }
}

// The index against the sort. Ages are made to fall on the edges of
// one-second windows (fractions 0, 1 and those that round up to a whole
// second, where a window shares its top age with the next), in the future,
// and 2^40 s back, where a double age no longer tells nearby fractions apart.
TEST_F(EvictionOrder, IndexRanksAsTheSort) {
  static constexpr std::uint64_t kFractions[] = {
      0, 1, 1ull << 11, 1ull << 63, ~0ull - (1ull << 11), ~0ull - (1ull << 10), ~0ull};
  static constexpr std::int64_t kSeconds[] = {-2, -1, 0, 1, 2, 3, 1ll << 40, (1ll << 40) + 1};
  std::mt19937_64 rng(11);
  for (int round = 0; round < 300; ++round) {
    const AbsoluteTime now{rng() % 2 ? rng() : kFractions[rng() % 7], 1ll << 41};
    BucketsByName byName;
    EvictionIndex index;
    const int count = 1 + static_cast<int>(rng() % 60);
    for (int i = 0; i <= count; ++i) {
      const std::uint64_t fraction = rng() % 3 ? kFractions[rng() % 7] : rng();
      const AbsoluteTime stamp = now - AbsoluteTime{fraction, kSeconds[rng() % 8]};
      TestClock::set(stamp.seconds, stamp.fraction);
      const WideString name = wide(i == count ? "/" : (i % 2 ? "/b" : "/B") + std::to_string(i));
      const auto entry =
          byName.emplace(name, NamedBucket{RefPtr<IBucket>(newBucket(name).get()), 0, stamp}).first;
      if (i != count) index.insert(entry);
    }
    ASSERT_TRUE(index.ranks(now));
    std::vector<std::string> drained;
    while (const auto first = index.first(now)) {
      drained.push_back(ascii((*first)->first));
      index.erase(*first, (*first)->second.stamp);
    }
    EXPECT_EQ(drained, namesOf(evictionOrder(byName, now))) << "round " << round;
  }
  EvictionIndex far;
  BucketsByName one;
  one[u"/b"].stamp = AbsoluteTime{0, 1ll << 53};
  far.insert(one.begin());
  EXPECT_FALSE(far.ranks(AbsoluteTime{0, 0})) << "whole seconds beyond a double's";
}

// Through the cache itself: with a budget of 0 every add beyond 20 buckets
// drops exactly the first bucket of the reference order, never the root.
TEST_F(EvictionOrder, CacheDropsTheReferenceFirst) {
  const BucketsByName buckets = stampedBuckets(7, 40, false);
  TestClock::set(now.seconds, now.fraction);
  CachePtr cache(new BucketCache(0));
  BucketsByName expected;
  for (const auto& entry : buckets) {
    cache->addBucket(entry.second.bucket.get(), false, nullptr);
    expected.insert(entry);
    if (expected.size() > BucketCache::kEvictionFloor) {
      expected.erase(wide(referenceOrder(expected, now).front()));
    }
    ASSERT_EQ(cache->getNumBuckets(), expected.size());
    for (const auto& kept : expected) EXPECT_TRUE(cache->hasBucket(kept.first));
  }
}

// ---- Usage and passes ----

TEST(BucketCache, CountsUsageOfWhatItHolds) {
  CachePtr cache(new BucketCache(1u << 20));
  TarnhiveStatus status;
  BucketPtr big = newBucket(u"/a");
  big->setString(u"s", u"a long enough text", &status, false);
  BucketPtr small = newBucket(u"/A");
  cache->addBucket(big.get(), false, &status);
  cache->addBucket(newBucket(u"/b").get(), false, &status);
  EXPECT_EQ(cache->getUsage(), big->getMemUsage() + newBucket(u"/b")->getMemUsage());
  cache->addBucket(small.get(), true, &status);
  EXPECT_EQ(cache->getUsage(), 2 * small->getMemUsage()) << "replaced by a smaller one";
  cache->addBucket(big.get(), false, &status);
  EXPECT_EQ(cache->getUsage(), 2 * small->getMemUsage()) << "a rejected add counts nothing";
  cache->removeBucket(u"/B");
  EXPECT_EQ(cache->getUsage(), small->getMemUsage());
  cache->clearBuckets();
  EXPECT_EQ(cache->getUsage(), 0u);
}

TEST(BucketCache, EvictionAmountIsAQuarterInWrappingArithmetic) {
  EXPECT_EQ(BucketCache(1000).getEvictionAmount(), 250u);
  EXPECT_EQ(BucketCache(171798691).getEvictionAmount(), 42949672u);
  EXPECT_EQ(BucketCache(171798692).getEvictionAmount(), 0u) << "the product wraps";
}

// Twenty small buckets over a 4000-byte budget, then one large young one.
TEST(BucketCache, PassRunsFromTheTwentyFirstBucketAndStopsAtAQuarter) {
  TestClock clock(100);
  CachePtr cache(new BucketCache(4000));
  TarnhiveStatus status;
  for (int i = 0; i < 20; ++i) {
    cache->addBucket(newBucket(wide("/b" + std::to_string(10 + i))).get(), false, &status);
  }
  ASSERT_GT(cache->getUsage(), 4000u);
  ASSERT_EQ(cache->getNumBuckets(), 20u) << "no pass below 21 buckets";

  TestClock::set(200);
  BucketPtr large = newBucket(u"/large");
  const std::vector<std::uint8_t> blob(2000, 1);
  large->setBlob(u"blob", blob.data(), 2000, &status, false);
  const std::uint32_t before = cache->getUsage();
  cache->addBucket(large.get(), false, &status);
  EXPECT_FALSE(cache->hasBucket(u"/large")) << "the youngest goes first, and suffices";
  EXPECT_EQ(cache->getNumBuckets(), 20u);
  EXPECT_EQ(cache->getUsage(), before);
  EXPECT_EQ(status.code, 0);
}

}  // namespace
}  // namespace vesk::tarnhive
