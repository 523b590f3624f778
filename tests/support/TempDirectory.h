// A fresh, empty directory for one test, removed with its contents when the
// test ends.
#pragma once

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "vesk/orlo/StringConversion.h"

namespace vesk::test {

class TempDirectory {
 public:
  TempDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tarnhive-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~TempDirectory() {
    std::error_code ignored;
    // Tests may leave read-only entries behind; make them removable first.
    for (auto& entry : std::filesystem::recursive_directory_iterator(path_, ignored)) {
      ::chmod(entry.path().c_str(), 0700);
    }
    std::filesystem::remove_all(path_, ignored);
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
  std::string path_;
};

}  // namespace vesk::test
