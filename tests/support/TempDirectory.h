// A fresh, empty directory for one test, removed with its contents when the
// test ends.
#pragma once

#include <cstdint>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "vesk/orlo/StringConversion.h"

namespace vesk::test {

class TempDirectory {
 public:
  TempDirectory() {
    const std::filesystem::path base = std::filesystem::temp_directory_path();
    std::random_device random;
    for (int attempt = 0; attempt < 100 && path_.empty(); ++attempt) {
      const std::filesystem::path candidate = base / ("tarnhive-test-" + std::to_string(random()));
      if (std::filesystem::create_directory(candidate)) path_ = candidate.string();
    }
    if (path_.empty()) throw std::runtime_error("no temporary directory could be made");
  }
  ~TempDirectory() {
    removeTree(path_);
    if (!std::filesystem::exists(path_)) return;
    // Tests may leave read-only entries behind; make them removable first.
    makeWritable(path_);
    removeTree(path_);
  }
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;

  // The directory, or `name` inside it.
  std::string path(const std::string& name = "") const {
    return name.empty() ? path_ : path_ + "/" + name;
  }
  orlo::WideString wide(const std::string& name = "") const {
    return orlo::toWide(orlo::NarrowString(path(name).c_str()));
  }

 private:
  // Removes what it can in one pass. On Windows a file that a handle of the
  // process still holds (the process's bucket manager keeps its registry
  // open) stays listed after its removal, and a removal that walks the
  // directory again until it is empty would never end.
  static void removeTree(const std::filesystem::path& directory) {
    std::error_code error;
    std::vector<std::filesystem::path> entries;
    for (std::filesystem::directory_iterator it(directory, error);
         !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
      entries.push_back(it->path());
    }
    for (const auto& entry : entries) {
      if (std::filesystem::is_directory(std::filesystem::symlink_status(entry, error))) {
        removeTree(entry);
      } else {
        std::filesystem::remove(entry, error);
      }
    }
    std::filesystem::remove(directory, error);
  }

  // Every entry under `directory`, one level at a time; errors end the walk.
  static void makeWritable(const std::filesystem::path& directory) {
    std::error_code error;
    std::filesystem::directory_iterator it(directory, error);
    for (; !error && it != std::filesystem::directory_iterator(); it.increment(error)) {
      std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                   std::filesystem::perm_options::add, error);
      if (it->is_directory(error)) makeWritable(it->path());
    }
  }

  std::string path_;
};

}  // namespace vesk::test
