// Helpers for tests that use the library as a client does: through
// GetInterface and the public headers only, with each registry user in a
// process of its own (a process gets one bucket manager for its life).
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/TempDirectory.h"
#include "vesk/tarnhive/Tarnhive.h"

namespace vesk::tarnhive::client {

using orlo::WideString;

// ASCII text as a wide string (paths and names of the tests are ASCII).
inline WideString wide(const std::string& text) {
  WideString out;
  for (char c : text) out.append(static_cast<orlo::WChar>(c));
  return out;
}

// The process's bucket manager on the registry of a test whose files are
// under `root` (see ClientTest); one reference for the caller.
inline IBucketManager* openManager(const std::string& root, TarnhiveStatus* status) {
  ITarnhive2* registry = GetInterface(2, status);
  if (registry == nullptr) return nullptr;
  IBucketManager* made = nullptr;
  registry->createBucketManager(&made, wide(root + "/registry"), wide(root + "/options.ini"),
                                status);
  return made;
}

// A registry directory, options file and lock directory of one test, all
// under one root that child processes are given.
class ClientTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directory(root_.path("registry"));
    std::filesystem::create_directory(root_.path("locks"));
    test::setEnvironment("VESK_TARNHIVE_LOCK_DIR", root_.path("locks"));
    writeOptions("");
  }
  void TearDown() override { test::clearEnvironment("VESK_TARNHIVE_LOCK_DIR"); }

  void writeOptions(const std::string& lines) {
    std::ofstream(root_.path("options.ini")) << "[Tarnhive]\n" << lines;
  }
  std::string root() const { return root_.path(); }

  IBucketManager* manager(TarnhiveStatus* status) { return openManager(root(), status); }

  test::TempDirectory root_;
};

}  // namespace vesk::tarnhive::client
