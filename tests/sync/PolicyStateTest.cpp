// The rules that turn keys into buckets: names, parents, keys that name one
// bucket, and values no bucket can hold. (Invalid values keeping a key's
// last valid ones are tested end to end.)
#include <gtest/gtest.h>

#include <algorithm>

#include "PolicyState.h"
#include "ToolError.h"

namespace vesk::tarnhive::sync {
namespace {

constexpr char kInt[] = R"({"n": {"type": "int32", "value": 1}})";
constexpr char kOther[] = R"({"n": {"type": "int32", "value": 2}})";

class PolicyStateTest : public ::testing::Test {
 protected:
  // The keys that putting `value` under `key` leaves unapplied.
  std::vector<std::string> skippedBy(const std::string& key, const std::string& value) {
    std::vector<std::string> keys;
    for (const SkippedKey& skipped : state_.put(key, value)) {
      EXPECT_FALSE(skipped.reason.empty());
      keys.push_back(skipped.key);
    }
    return keys;
  }
  Desired::Kind kindOf(const std::u16string& bucket) const { return state_.desired(bucket).kind; }
  std::int64_t numberIn(const std::u16string& bucket) const {
    return static_cast<std::int64_t>(state_.desired(bucket).values.at(0).second.bits.at(0));
  }

  PolicyState state_{"/p/", u"/S"};
};

TEST_F(PolicyStateTest, KeysStandForBucketsOnlyInNormalForm) {
  std::string problem;
  EXPECT_EQ(state_.bucketOf("/p/Acme/Editor", &problem), std::u16string(u"/S/Acme/Editor"));
  EXPECT_EQ(state_.bucketOf("/p/\xc3\xa9", &problem), std::u16string(u"/S/\u00e9"));
  for (const std::string& key : std::vector<std::string>{"/p/", "/p//A", "/p/A/", "/p/A//B", "/p/\xff", "/p/\xed\xa0\x80",
                                "/p/" + std::string(4094, 'x')}) {
    problem.clear();
    EXPECT_FALSE(state_.bucketOf(key, &problem)) << key;
    EXPECT_FALSE(problem.empty()) << key;
    EXPECT_EQ(skippedBy(key, kInt), std::vector<std::string>{key});
  }
  EXPECT_TRUE(state_.bucketNames().empty());
}

TEST_F(PolicyStateTest, ParentsHoldNoValuesAndGoWithTheirLastKey) {
  EXPECT_TRUE(skippedBy("/p/A/B/C", kInt).empty());
  EXPECT_TRUE(skippedBy("/p/A/B/D", kInt).empty());
  EXPECT_EQ(kindOf(u"/S/A"), Desired::kParent);
  EXPECT_EQ(kindOf(u"/S/a/b"), Desired::kParent);  // names ignore case, as the registry's do
  EXPECT_TRUE(skippedBy("/p/A/B", kOther).empty());
  EXPECT_EQ(kindOf(u"/S/A/B"), Desired::kValues);
  std::vector<std::u16string> names = state_.bucketNames();
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::u16string>{u"/S/A", u"/S/A/B", u"/S/A/B/C", u"/S/A/B/D"}));

  state_.remove("/p/A/B/C");
  state_.remove("/p/A/B");
  EXPECT_EQ(kindOf(u"/S/A/B"), Desired::kParent);  // D is still below it
  state_.remove("/p/A/B/D");
  EXPECT_EQ(kindOf(u"/S/A/B"), Desired::kAbsent);
  EXPECT_EQ(kindOf(u"/S/A"), Desired::kAbsent);
  state_.remove("/p/never-there");
  EXPECT_TRUE(state_.bucketNames().empty());
}

TEST_F(PolicyStateTest, OfKeysNamingOneBucketTheFirstInKeyOrderApplies) {
  EXPECT_TRUE(skippedBy("/p/app", kInt).empty());
  // "/p/APP" is first in key order: it applies, and "/p/app" no longer.
  EXPECT_EQ(skippedBy("/p/APP", kOther), std::vector<std::string>{"/p/app"});
  EXPECT_EQ(skippedBy("/p/App", kInt), std::vector<std::string>{"/p/App"});
  EXPECT_EQ(numberIn(u"/S/app"), 2);
  state_.remove("/p/APP");
  EXPECT_EQ(numberIn(u"/S/app"), 1);  // /p/App, before /p/app
  state_.remove("/p/App");
  state_.remove("/p/app");
  EXPECT_EQ(kindOf(u"/S/app"), Desired::kAbsent);
}

TEST(BucketValuesTest, RefusesWhatNoBucketCanHold) {
  EXPECT_EQ(bucketValuesOf(kInt, "k").size(), 1u);
  EXPECT_TRUE(bucketValuesOf("{}", "k").empty());
  const std::string digest(64, '0');
  for (const std::string& text :
       std::vector<std::string>{std::string("[]"), std::string("{"), std::string(R"({"a": 1e999})"),
        std::string(R"({"": {"type": "int8", "value": 1}})"),
        std::string(R"({"a": {"type": "int8", "value": 1}, "A": {"type": "int8", "value": 2}})"),
        R"({"d": {"type": "digest", "value": ")" + digest + "\"}}"}) {
    EXPECT_THROW(bucketValuesOf(text, "k"), tool::ToolError) << text;
  }
}

}  // namespace
}  // namespace vesk::tarnhive::sync
