// The library's check of the registry files and tree, which tools show:
// each kind of damage is found and placed in the file, a clean registry
// passes. (The backup is opened again by the tool's test.)
#include <filesystem>
#include <fstream>

#include "bucket/Bucket.h"
#include "manager/BucketManager.h"
#include "manager/ManagerFixture.h"
#include "manager/RegistryReport.h"
#include "store/SingleFileBucketStore.h"

namespace vesk::tarnhive::testing {
namespace {

namespace fs = std::filesystem;

class RegistryFileReportTest : public ManagerFixture {
 protected:
  // The problems of the check, as "offset: text".
  std::vector<std::string> problems(BucketManager& manager) {
    TarnhiveStatus status;
    orlo::RefPtr<RegistryReport> report(new RegistryReport());
    EXPECT_TRUE(manager.checkRegistry(*report, &status));
    std::vector<std::string> found;
    for (std::uint32_t i = 0; i < report->getCount(&status); ++i) {
      orlo::NarrowString group, name, text;
      bool isText = false;
      std::int64_t number = 0;
      report->getEntry(i, group, name, &isText, text, &number, &status);
      if (std::string(group.c_str()) == "problem") {
        found.push_back(std::to_string(number) + ": " + text.c_str());
      }
    }
    return found;
  }
  // Changes one byte of "registry.bin".
  void flip(std::int64_t offset) {
    std::fstream file(dir_.path("registry.bin"), std::ios::in | std::ios::out | std::ios::binary);
    file.seekg(offset);
    const char byte = static_cast<char>(file.get());
    file.seekp(offset);
    file.put(static_cast<char>(~byte));
  }
  static bool mentions(const std::vector<std::string>& found, const std::string& text) {
    return std::any_of(found.begin(), found.end(),
                       [&](const std::string& line) { return line.find(text) != std::string::npos; });
  }
};

TEST_F(RegistryFileReportTest, EachKindOfDamageIsFoundWithItsOffset) {
  TarnhiveStatus status;
  {
    RefPtr<BucketManager> manager = makeManager(&status);
    write(*manager, {"/a", "/a/b"});
    EXPECT_TRUE(problems(*manager).empty());
  }
  const auto size = static_cast<std::int64_t>(fs::file_size(dir_.path("registry.bin")));
  flip(size - 1);    // the last block's marker
  flip(size - 64);   // its index copy
  flip(40);          // a byte of the first record: the first block's checksum
  RefPtr<BucketManager> manager = makeManager(&status);
  ASSERT_EQ(status.code, 0);
  const std::vector<std::string> found = problems(*manager);
  EXPECT_TRUE(mentions(found, std::to_string(size - 16) + ": the block marker is wrong"));
  EXPECT_TRUE(mentions(found, std::to_string(size - 64) + ": the copy of the index offset differs"));
  EXPECT_TRUE(mentions(found, "checksum does not match"));
}

TEST_F(RegistryFileReportTest, ATreeWithADanglingLinkAndAnUnlinkedBucketIsReported) {
  TarnhiveStatus status;
  {
    RefPtr<BucketManager> manager = makeManager(&status);
    write(*manager, {"/a"});
  }
  writePastTheManager({u"/lost/child"});
  RefPtr<BucketManager> manager = makeManager(&status);
  const std::vector<std::string> found = problems(*manager);
  EXPECT_TRUE(mentions(found, "the child link \"/ghost\" of \"/\" names no stored bucket"));
  EXPECT_TRUE(mentions(found, "the bucket \"/lost/child\" is not linked from its parent \"/lost\""));
}

}  // namespace
}  // namespace vesk::tarnhive::testing
