// Directory listings: the wildcard rules, the flags and missing directories.
#include "vesk/orlo/osdep/FindFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "support/TempDirectory.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/OSException.h"
#include "vesk/orlo/osdep/Path.h"
#include "vesk/orlo/osdep/common/Wildcard.h"

namespace vesk::orlo::osdep {
namespace {

namespace fs = std::filesystem;

// The patterns the registry lists its directory with.
TEST(WildcardTest, SystemListingRules) {
  struct Case {
    const char16_t* pattern;
    const char16_t* name;
    bool matches;
  };
  const Case cases[] = {
      {u"*.*", u"newCommitmark", true},  // "*.*" matches names without a dot
      {u"*.*", u"registry.bin.1", true},
      {u"*", u"", true},
      {u"commitmark.*", u"commitmark.12", true},
      {u"commitmark.*", u"commitmark", true},  // the ".*" ending is optional
      {u"commitmark.*", u"commitmarks", false},
      {u"commitmark.*", u"oldCommitmark", false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(common::matchesWildcard(c.pattern, c.name, false), c.matches)
        << toNarrow(c.pattern).c_str() << " / " << toNarrow(c.name).c_str();
  }
}

class FindFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name : {"registry.bin", "commitmark.3", "newCommitmark", ".hidden"}) {
      std::ofstream(dir_.path(name)) << "x";
    }
    fs::create_directory(dir_.path("sub"));
  }
  // The names listed, without the directory part, which every result must
  // carry.
  std::set<std::string> list(const std::string& pattern, std::uint32_t flags) {
    std::set<std::string> names;
    const std::string prefix = dir_.path() + "/";
    for (const WideString& found : FindFiles(dir_.wide(pattern), flags, false)) {
      const std::string text = toNarrow(found).c_str();
      EXPECT_EQ(text.rfind(prefix, 0), 0u) << text;
      names.insert(text.substr(prefix.size()));
    }
    return names;
  }
  test::TempDirectory dir_;
};

TEST_F(FindFilesTest, FlagsSelectHiddenDotAndDirectoryEntries) {
  using Names = std::set<std::string>;
  EXPECT_EQ(list("*.*", 0), (Names{"registry.bin", "commitmark.3", "newCommitmark", "sub"}));
  EXPECT_EQ(list("*.*", kFIND_HIDDEN | kFIND_DOT_ENTRIES),
            (Names{".", "..", ".hidden", "registry.bin", "commitmark.3", "newCommitmark", "sub"}));
  EXPECT_EQ(list("commitmark.*", kFIND_HIDDEN | kFIND_DOT_ENTRIES), (Names{"commitmark.3"}));
}

TEST_F(FindFilesTest, MissingDirectoryThrowsUnlessIgnored) {
  EXPECT_TRUE(FindFiles(dir_.wide("missing/*.*"), 9, true).empty());
  try {
    FindFiles(dir_.wide("missing/*.*"), 9, false);
    FAIL();
  } catch (const OSException& e) {
    EXPECT_EQ(e.errorCode(), 7u);
    EXPECT_STREQ(e.sourceFile(), "vesk/orlo/osdep/FindFiles");
    EXPECT_EQ(e.sourceLine(), 105u);
  }
  EXPECT_TRUE(FindFiles(dir_.wide("nothing*"), 0, false).empty())
      << "an existing directory without matches is no failure";
}

}  // namespace
}  // namespace vesk::orlo::osdep
