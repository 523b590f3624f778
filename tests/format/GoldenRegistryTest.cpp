// One file format on every platform: the registry directories kept in
// tests/data were written once on Linux and once under Windows, and each
// platform reads both to the same buckets and values.
//
// Each reading test opens its registry through the process's one bucket
// manager, so CTest runs every test in a process of its own. The content
// (two commits: /Golden/Window with values of several kinds, /Golden/Deleted
// made and deleted again, /Golden/Second) is checked below.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "vesk/tarnhive/Tarnhive.h"

namespace vesk::tarnhive {
namespace {

using orlo::NarrowString;
using orlo::RefPtr;
using orlo::WideString;
namespace fs = std::filesystem;

// The paths of the tests are ASCII.
WideString wide(const std::string& text) {
  WideString out;
  for (char c : text) out.append(static_cast<orlo::WChar>(c));
  return out;
}

RefPtr<IBucketManager> openManager(const std::string& directory, const std::string& options,
                                   TarnhiveStatus* status) {
  std::ofstream(options, std::ios::binary) << "[Tarnhive]\n";
  IBucketManager* made = nullptr;
  GetInterface(2, status)->createBucketManager(&made, wide(directory), wide(options), status);
  return RefPtr<IBucketManager>::adopt(made);
}

RefPtr<IBucketValue> valueOf(IBucketManager& manager, const char16_t* bucket, const char16_t* name,
                             TarnhiveStatus* status) {
  IBucket* found = nullptr;
  manager.getBucketByName(&found, bucket, status);
  RefPtr<IBucket> held = RefPtr<IBucket>::adopt(found);
  if (!held) return RefPtr<IBucketValue>();
  return RefPtr<IBucketValue>::adopt(held->getValue(name, status));
}

// The store may rewrite what it opens: it reads a copy, made in the working
// directory. The copy outlives the test, since the process's manager keeps
// its registry file open to the end, and is replaced by the next run.
void expectGoldenContent(const std::string& source, const std::string& copy) {
  fs::remove_all(copy);
  fs::create_directories(copy + "/registry");
  for (const auto& entry : fs::directory_iterator(source)) {
    fs::copy_file(entry.path(), copy + "/registry/" + entry.path().filename().string());
  }
  TarnhiveStatus status;
  RefPtr<IBucketManager> manager =
      openManager(copy + "/registry", copy + "/options.ini", &status);
  ASSERT_TRUE(manager) << status.code;
  IBucketManager& m = *manager;
  EXPECT_EQ(valueOf(m, u"/golden/window", u"WIDTH", &status)->getInt32(&status), 1280);
  EXPECT_TRUE(valueOf(m, u"/Golden/Window", u"maximized", &status)->getBool(&status));
  EXPECT_EQ(valueOf(m, u"/Golden/Window", u"i8", &status)->getInt8(&status), -8);
  EXPECT_EQ(valueOf(m, u"/Golden/Window", u"u64", &status)->getUInt64(&status), ~std::uint64_t{0});
  EXPECT_EQ(valueOf(m, u"/Golden/Window", u"ratio", &status)->getFloat64(&status), 0.1);
  EXPECT_EQ(valueOf(m, u"/Golden/Window", u"title", &status)->getString(&status),
            WideString(u"Caf\u00e9 \u20ac \U0001F600"));
  EXPECT_EQ(valueOf(m, u"/Golden/Window", u"font", &status)->getAnsiString(&status),
            NarrowString("Mono"));
  RefPtr<IBucketValue> recent = valueOf(m, u"/Golden/Window", u"recent", &status);
  ASSERT_TRUE(recent);
  ASSERT_EQ(recent->getArraySize(), 3u);
  EXPECT_EQ(recent->getStringArrayElement(2, &status), WideString(u"c.txt"));
  std::uint8_t blob[4] = {};
  EXPECT_EQ(valueOf(m, u"/Golden/Window", u"state", &status)->getBlob(blob, 4, &status), 4u);
  EXPECT_EQ(blob[3], 255);
  EXPECT_EQ(valueOf(m, u"/Golden/Second", u"n", &status)->getInt32(&status), 2);
  EXPECT_EQ(status.code, 0);
  EXPECT_FALSE(m.bucketExists(u"/Golden/Deleted", &status));
  EXPECT_TRUE(m.bucketExists(u"/Golden", &status));
}

TEST(GoldenRegistryTest, ReadsTheRegistryWrittenOnLinux) {
  expectGoldenContent(TARNHIVE_TEST_DATA "/registry-linux", "golden-read-linux");
}

TEST(GoldenRegistryTest, ReadsTheRegistryWrittenOnWindows) {
  expectGoldenContent(TARNHIVE_TEST_DATA "/registry-windows", "golden-read-windows");
}

}  // namespace
}  // namespace vesk::tarnhive
