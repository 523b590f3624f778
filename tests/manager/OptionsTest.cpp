// Options: defaults, file values, the kinds' reading rules and the derived
// cache budgets.
#include "manager/Options.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/TempDirectory.h"
#include "vesk/orlo/StringConversion.h"

namespace vesk::tarnhive {
namespace {

class OptionsTest : public ::testing::Test {
 protected:
  // Options read from a file holding `text` (no file for "<none>").
  Options load(const std::string& text) {
    if (text != "<none>") std::ofstream(dir_.path("Tarnhive.ini"), std::ios::binary) << text;
    return Options(dir_.wide("Tarnhive.ini"), &status_);
  }
  void expectIntegers(const Options& options, std::vector<std::int32_t> expected) {
    const OptionIndex integers[] = {kMEMORYCACHESIZELIMITKB, kMEMORYCACHEUPDATEPCT,
                                    kDEBUGCOMPAREREGATSTARTMODE, kMEMORYINDICESSIZELIMITKB,
                                    kDISKMAXREGISTRYFILESIZEKB};
    for (std::size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(options.integerValue(integers[i]), expected[i]) << "integer option " << i;
    }
  }
  void expectBooleans(const Options& options, bool commit, bool compaction, bool misc) {
    EXPECT_EQ(options.booleanValue(kDEBUGSIMULATECOMMITCRASH), commit);
    EXPECT_EQ(options.booleanValue(kDEBUGSIMULATECOMPACTIONCRASH), compaction);
    EXPECT_EQ(options.booleanValue(kDEBUGSIMULATEMISCCRASH), misc);
  }
  test::TempDirectory dir_;
  TarnhiveStatus status_;
};

TEST_F(OptionsTest, DefaultsApplyWithoutFileOrSection) {
  for (const char* text : {"<none>", "[Other]\nMemoryCacheSizeLimitKB=5\n", ""}) {
    const Options options = load(text);
    EXPECT_EQ(status_.code, 0);
    expectIntegers(options, {1024, 10, 0, 1024, 1024});
    expectBooleans(options, false, false, false);
    EXPECT_EQ(options.text(kMEMORYCACHEUPDATEPCT), orlo::WideString(u"10"));
    EXPECT_EQ(options.memoryCacheLimitBytes(), 1048576u);
    EXPECT_EQ(options.updateCacheLimitBytes(), 104857u);
  }
}

#if !defined(_WIN32)
// An options file is only read: one kept elsewhere and linked in place
// (as configuration managers do) is read like any other.
TEST_F(OptionsTest, AnOptionsFileThatIsASymbolicLinkIsRead) {
  std::ofstream(dir_.path("real.ini"), std::ios::binary) << "[Tarnhive]\nMemoryCacheSizeLimitKB=2048\n";
  std::filesystem::create_symlink(dir_.path("real.ini"), dir_.path("Tarnhive.ini"));
  const Options options(dir_.wide("Tarnhive.ini"), &status_);
  EXPECT_EQ(status_.code, 0);
  EXPECT_EQ(options.integerValue(kMEMORYCACHESIZELIMITKB), 2048);
}
#endif

TEST_F(OptionsTest, FileValuesCommentsAndPartialSections) {
  const Options options = load(
      "; settings of the shared registry\n"
      "\n"
      "[Tarnhive]\n"
      "# budget\n"
      "MemoryCacheSizeLimitKB = 2048\n"
      "MemoryCacheUpdatePct=25\r\n"
      "DiskMaxRegistryFileSizeKB=-5\n");
  EXPECT_EQ(status_.code, 0);
  expectIntegers(options, {2048, 25, 0, 1024, -5});
  EXPECT_EQ(options.memoryCacheLimitBytes(), 2097152u);
  EXPECT_EQ(options.updateCacheLimitBytes(), 524288u);
}

TEST_F(OptionsTest, OnlyTrueInAnyCaseIsTrueAndStringOptionsStayEmpty) {
  const Options options = load(
      "[Tarnhive]\nDebugSimulateCommitCrash=TrUe\nDebugSimulateCompactionCrash=1\n"
      "DebugSimulateMiscCrash=yes\nCallbackDLLName=libcallbacks.so\n"
      "DebugCompareRegAtStartFile=mine.txt\nDBMode=0600\n");
  EXPECT_EQ(status_.code, 0);
  expectBooleans(options, true, false, false);
  EXPECT_TRUE(options.text(kCALLBACKDLLNAME).empty()) << "no callback library is ever named";
  EXPECT_TRUE(options.text(kDEBUGCOMPAREREGATSTARTFILE).empty());
  EXPECT_TRUE(options.text(kDBMODE).empty());
}

TEST_F(OptionsTest, ABadNumberEndsAsAStatusCodeAndLaterRowsKeepTheirInitialState) {
  for (const char* bad : {"ten", "", "12KB", "99999999999"}) {
    status_.code = 0;
    const Options options =
        load(std::string("[Tarnhive]\nMemoryCacheSizeLimitKB=512\nMemoryCacheUpdatePct=") + bad +
             "\nDebugSimulateCommitCrash=false\n");
    EXPECT_EQ(status_.code, kINTERNALERROR) << bad;
    expectIntegers(options, {512, 0, 0, 0, 0});
    EXPECT_EQ(options.text(kMEMORYCACHEUPDATEPCT), orlo::toWide(bad)) << "the text is kept";
    expectBooleans(options, true, true, true);
  }
}

TEST_F(OptionsTest, AnEarlierErrorLeavesEveryRowInItsInitialState) {
  status_.code = kOUTOFMEMORY;
  const Options options = load("[Tarnhive]\nMemoryCacheSizeLimitKB=2048\n");
  EXPECT_EQ(status_.code, kOUTOFMEMORY);
  expectIntegers(options, {0, 0, 0, 0, 0});
  expectBooleans(options, true, true, true);
}

}  // namespace
}  // namespace vesk::tarnhive
