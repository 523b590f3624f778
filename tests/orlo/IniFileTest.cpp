// The INI reader's parsing rules and the files it refuses.
#include "vesk/orlo/IniFile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "support/TempDirectory.h"

namespace vesk::orlo {
namespace {

class IniFileTest : public ::testing::Test {
 protected:
  void parse(const std::string& text) { ini_.parse(text.data(), text.size()); }
  // The value of `key` in `section`, or "<none>".
  std::string value(const char* section, const char* key) {
    const IniFile::Section* found = ini_.findSection(section);
    WideString text;
    if (found == nullptr || !IniFile::getValue(*found, key, text)) return "<none>";
    return std::string(text.begin(), text.end());
  }
  IniFile ini_;
};

TEST_F(IniFileTest, SectionsKeysCommentsAndWhiteSpace) {
  parse(
      "\xEF\xBB\xBF"
      "orphan = 1\r\n"
      "; comment\r\n"
      "  # another = 2\n"
      "\n"
      "[ Tarnhive ]  \r\n"
      "\tMemoryCacheSizeLimitKB =  2048 \r\n"
      "CallbackDLLName = lib;cb.so\n"
      "Quoted = \"  padded  \"\n"
      "not a key\n"
      " = no key\n"
      "memorycachesizelimitkb = 1\n"
      "[Other]\n"
      "Empty =\n"
      "[Broken\n"
      "Lost = 1\n");
  EXPECT_EQ(value("Tarnhive", "MemoryCacheSizeLimitKB"), "2048");
  EXPECT_EQ(value("TARNHIVE", "memoryCACHEsizelimitkb"), "2048") << "first of two, any case";
  EXPECT_EQ(value("Tarnhive", "CallbackDLLName"), "lib;cb.so") << "no comments inside values";
  EXPECT_EQ(value("Tarnhive", "Quoted"), "  padded  ");
  EXPECT_EQ(value("Tarnhive", "orphan"), "<none>");
  EXPECT_EQ(value("Tarnhive", "another"), "<none>");
  EXPECT_EQ(value("Other", "Empty"), "");
  EXPECT_EQ(value("Other", "Lost"), "<none>") << "a broken header ends the section";
  EXPECT_EQ(value("Broken", "Lost"), "<none>");
}

TEST_F(IniFileTest, LoadRefusesDirectoriesAndOversizedFiles) {
  test::TempDirectory dir;
  EXPECT_FALSE(ini_.load(dir.path().c_str()));
  std::ofstream(dir.path("huge.ini")) << "[Tarnhive]\n" << std::string(IniFile::kMaxFileSize, ';');
  EXPECT_FALSE(ini_.load(dir.path("huge.ini").c_str()));
  EXPECT_EQ(ini_.findSection("Tarnhive"), nullptr);
}

}  // namespace
}  // namespace vesk::orlo
