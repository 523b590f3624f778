// Helpers for tests that use the library as a client does: through
// GetInterface and the public headers only, with each registry user in a
// process of its own (a process gets one bucket manager for its life).
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "vesk/tarnhive/Tarnhive.h"

namespace vesk::tarnhive::client {

using orlo::WideString;

// ASCII text as a wide string (paths and names of the tests are ASCII).
inline WideString wide(const std::string& text) {
  WideString out;
  for (char c : text) out.append(static_cast<orlo::WChar>(c));
  return out;
}

// In a child process a failed check ends the child with status 1 after
// saying where.
#define CLIENT_CHECK(condition)                                                   \
  do {                                                                            \
    if (!(condition)) {                                                           \
      std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition); \
      std::fflush(stderr);                                                        \
      ::_exit(1);                                                                 \
    }                                                                             \
  } while (0)

// Runs `body` in a forked child; returns its exit status (0: every check
// passed), or -1 when it died of a signal.
inline int inChild(const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    body();
    std::fflush(nullptr);
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// A registry directory, options file and lock directory of one test.
class ClientTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "tarnhive-client-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
    std::filesystem::create_directory(root_ + "/registry");
    std::filesystem::create_directory(root_ + "/locks");
    ::setenv("VESK_TARNHIVE_LOCK_DIR", (root_ + "/locks").c_str(), 1);
    writeOptions("");
  }
  void TearDown() override { std::filesystem::remove_all(root_); }

  void writeOptions(const std::string& lines) {
    std::ofstream(root_ + "/options.ini") << "[Tarnhive]\n" << lines;
  }
  std::string registryPath() const { return root_ + "/registry"; }

  // The process's bucket manager on the test's registry; one reference for
  // the caller.
  IBucketManager* manager(TarnhiveStatus* status) {
    ITarnhive2* registry = GetInterface(2, status);
    if (registry == nullptr) return nullptr;
    IBucketManager* made = nullptr;
    registry->createBucketManager(&made, wide(registryPath()), wide(root_ + "/options.ini"),
                                  status);
    return made;
  }

  std::string root_;
};

}  // namespace vesk::tarnhive::client
