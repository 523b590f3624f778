// Runs the built tarnhive binary as a script would: arguments, standard
// input, and what it prints and returns. Each test gets its own registry
// directory and lock directory, so tests never share the machine-wide lock.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace vesk::tarnhive::tool::testing {

struct Outcome {
  int status = -1;  // exit status, or -1 when killed
  std::string out;
  std::string err;
};

inline std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

// Starts the tool with its standard streams on files; returns its pid.
inline pid_t spawn(const std::vector<std::string>& args, const std::string& in,
                   const std::string& out, const std::string& err) {
  std::vector<std::string> words{TARNHIVE_TOOL};
  words.insert(words.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    const int streams[3] = {::open(in.c_str(), O_RDONLY), ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600),
                            ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600)};
    for (int i = 0; i < 3; ++i) ::dup2(streams[i], i);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  return child;
}

inline int waitFor(pid_t child) {
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Polls `condition` for up to two minutes: the machine may be loaded, so
// nothing here depends on how long a step takes.
inline bool eventually(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
  while (std::chrono::steady_clock::now() < deadline) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  return condition();
}

class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "tarnhive-tool-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    root_ = pattern;
    std::filesystem::create_directory(root_ + "/locks");
    ::setenv("VESK_TARNHIVE_LOCK_DIR", (root_ + "/locks").c_str(), 1);
    writeFile(root_ + "/empty", "");
  }
  void TearDown() override { std::filesystem::remove_all(root_); }

  std::string registry() const { return root_ + "/registry"; }
  std::string path(const std::string& name) const { return root_ + "/" + name; }

  // Runs the tool on the test's registry (unless args name another with -d).
  Outcome tool(std::vector<std::string> args, const std::string& input = "") {
    if (std::find(args.begin(), args.end(), "-d") == args.end()) args.insert(args.begin(), {"-d", registry()});
    writeFile(path("stdin"), input);
    const pid_t child = spawn(args, input.empty() ? path("empty") : path("stdin"), path("stdout"), path("stderr"));
    Outcome outcome;
    outcome.status = waitFor(child);
    outcome.out = readFile(path("stdout"));
    outcome.err = readFile(path("stderr"));
    return outcome;
  }

  // Runs the tool and expects it to succeed; returns its output.
  std::string ok(const std::vector<std::string>& args, const std::string& input = "") {
    const Outcome outcome = tool(args, input);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
  }

  std::string root_;
};

}  // namespace vesk::tarnhive::tool::testing
