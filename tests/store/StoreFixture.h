// Helpers of the store tests: a registry directory with options of its own,
// buckets holding one counter value, commits of named buckets, and the
// content of a store as a plain map that tests compare.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "bucket/Bucket.h"
#include "store/SingleFileBucketStore.h"
#include "support/TempDirectory.h"
#include "vesk/orlo/StringConversion.h"
#include "vesk/tarnhive/IBucketValue.h"

namespace vesk::tarnhive::testing {

using Bytes = std::vector<std::uint8_t>;
// Full name -> counter value, for every bucket a store holds.
using Content = std::map<std::string, std::int32_t>;

inline orlo::WideString wide(const std::string& text) {
  return orlo::toWide(orlo::NarrowString(text.c_str()));
}

inline Bytes readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& path, const Bytes& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

inline std::string readText(const std::string& path) {
  std::ifstream in(path);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::int64_t i64At(const Bytes& bytes, std::size_t at) {
  std::uint64_t v = 0;
  for (int i = 7; i >= 0; --i) v = (v << 8) | bytes.at(at + i);
  return static_cast<std::int64_t>(v);
}

inline std::uint32_t u32At(const Bytes& bytes, std::size_t at) {
  return bytes.at(at) | bytes.at(at + 1) << 8 | bytes.at(at + 2) << 16 |
         std::uint32_t{bytes.at(at + 3)} << 24;
}

// A bucket with one kINT32 value "counter" and, optionally, padding that
// makes its record larger.
inline orlo::RefPtr<IBucket> counterBucket(const std::string& name, std::int32_t counter,
                                           std::size_t padding = 0) {
  orlo::RefPtr<IBucket> bucket(new Bucket(wide(name), true));
  TarnhiveStatus status;
  bucket->setInt32(u"counter", counter, &status, true);
  if (padding > 0) {
    const std::vector<std::uint8_t> bytes(padding, 0x5A);
    bucket->setBlob(u"padding", bytes.data(), static_cast<std::uint32_t>(bytes.size()), &status,
                    true);
  }
  EXPECT_GE(status.code, 0);
  return bucket;
}

// A registry directory and the options of its store.
class StoreFixture : public ::testing::Test {
 protected:
  // DiskMaxRegistryFileSizeKB of the stores; large unless set.
  void setDiskLimitKB(int kilobytes) { diskLimitKB_ = kilobytes; }

  std::string path(const std::string& name = "") const { return dir_.path(name); }

  // A store on the directory, opened; the status of the open in `code`.
  std::unique_ptr<SingleFileBucketStore> openStore(std::int32_t* code = nullptr) {
    std::int32_t opened = 0;
    auto store = openStoreAt(path(), limits(), &opened);
    if (code != nullptr) {
      *code = opened;
    } else {
      EXPECT_EQ(opened, 0) << "open";
    }
    return store;
  }

  StoreLimits limits() const {
    StoreLimits limits;
    limits.diskLimitKB = diskLimitKB_;
    limits.flushEveryWrite = flushEveryWrite_;
    return limits;
  }

 public:
  // A store on `dir`, opened; the status of the open in `code`.
  static std::unique_ptr<SingleFileBucketStore> openStoreAt(const std::string& dir,
                                                            const StoreLimits& limits,
                                                            std::int32_t* code) {
    auto store = std::make_unique<SingleFileBucketStore>(wide(dir), limits);
    TarnhiveStatus status;
    store->open(0, &status);
    *code = status.code;
    return store;
  }

  // Commits buckets name -> counter and deletes `deleted`; returns the code.
  static std::int32_t commit(IBucketStore& store, const Content& written,
                             const std::set<std::string>& deleted = {}, std::size_t padding = 0) {
    BucketsByName buckets;
    for (const auto& [name, counter] : written) {
      buckets[wide(name)].bucket = counterBucket(name, counter, padding);
    }
    NameSet names;
    for (const auto& name : deleted) names.insert(wide(name));
    TarnhiveStatus status;
    store.commit(buckets, names, &status);
    return status.code;
  }

 protected:
  // The counter of every name in `names` that the store holds.
  static Content contentOf(IBucketStore& store, const std::set<std::string>& names) {
    Content content;
    for (const auto& name : names) {
      TarnhiveStatus status;
      orlo::RefPtr<IBucket> bucket = orlo::RefPtr<IBucket>::adopt(store.loadBucketByName(wide(name), &status));
      EXPECT_EQ(status.code, 0) << name;
      if (!bucket) continue;
      orlo::RefPtr<IBucketValue> value = orlo::RefPtr<IBucketValue>::adopt(bucket->getValue(u"counter", &status));
      content[name] = value ? value->getInt32(&status) : -1;
    }
    return content;
  }

  // The commit marks in the directory.
  std::vector<std::string> commitMarks() const {
    std::vector<std::string> marks;
    for (const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
      const std::string name = entry.path().filename().string();
      if (name.rfind("commitmark", 0) == 0 || name.find("Commitmark") != std::string::npos) {
        marks.push_back(name);
      }
    }
    std::sort(marks.begin(), marks.end());
    return marks;
  }

  test::TempDirectory dir_;
  int diskLimitKB_ = 1024 * 64;
  // The literal write mode: every piece of a block flushed on its own.
  bool flushEveryWrite_ = false;
};

}  // namespace vesk::tarnhive::testing
