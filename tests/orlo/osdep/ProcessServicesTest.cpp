// Loading libraries by name, and GUIDs.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "support/TempDirectory.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/orlo/osdep/MakeGUID.h"
#include "vesk/orlo/osdep/OSException.h"
#include "vesk/orlo/osdep/SharedLibrary.h"

namespace vesk::orlo::osdep {
namespace {

// The line of the exception that `action` throws.
template <class E, class Action>
std::uint32_t failureLine(Action&& action) {
  try {
    action();
  } catch (const E& e) {
    EXPECT_STREQ(e.sourceFile(), "vesk/orlo/osdep/SharedLibrary");
    return e.sourceLine();
  }
  ADD_FAILURE() << "nothing thrown";
  return 0;
}

TEST(SharedLibraryTest, ANameWithoutExtensionGetsTheSuffix) {
  const std::string plugin = std::string(TARNHIVE_TEST_PLUGIN_DIR) + "/testplugin";
  SharedLibrary library(toWide(NarrowString(plugin.c_str())), true, false);
  ASSERT_TRUE(library.isLoaded());
  auto* answer = reinterpret_cast<int (*)()>(library.getSymbol("tarnhiveTestPluginAnswer", false));
  EXPECT_EQ(answer(), 42);
  EXPECT_EQ(library.getSymbol("missing", true), nullptr);
  EXPECT_EQ(failureLine<OSException>([&] { library.getSymbol("missing", false); }), 166u);

  // Any extension is kept, and only the file name's counts.
  test::TempDirectory dir;
  std::filesystem::copy_file(plugin + TARNHIVE_MODULE_SUFFIX, dir.path("callbacks.v2"));
  EXPECT_TRUE(SharedLibrary(dir.wide("callbacks.v2"), true, true).isLoaded());
  SharedLibrary missing(dir.wide("dotted.dir/callbacks"), true, false);
  EXPECT_FALSE(missing.isLoaded());
  EXPECT_EQ(missing.name(), dir.wide("dotted.dir/callbacks" TARNHIVE_MODULE_SUFFIX));
  EXPECT_EQ(missing.getSymbol("tarnhiveTestPluginAnswer", true), nullptr);
  EXPECT_EQ(failureLine<OSException>([&] { missing.getSymbol("x", false); }), 161u);
  EXPECT_EQ(failureLine<exception::InvalidOperation>([] { SharedLibrary(u"", true, false); }),
            581u);
}

TEST(MakeGuidTest, RandomVersionFourGuids) {
  std::set<std::array<std::uint8_t, 16>> seen;
  for (int i = 0; i < 64; ++i) {
    const std::array<std::uint8_t, 16> guid = MakeGUID();
    EXPECT_EQ(guid[7] >> 4, 4) << "version nibble of the third field";
    EXPECT_EQ(guid[8] >> 6, 2) << "variant bits";
    seen.insert(guid);
  }
  EXPECT_EQ(seen.size(), 64u);
}

}  // namespace
}  // namespace vesk::orlo::osdep
