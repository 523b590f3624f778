#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <map>
#include <string_view>
#include <thread>

namespace vesk::test {
namespace {

constexpr std::string_view kChildFlag = "--tarnhive-child=";

std::map<std::string, ChildJobBody>& jobs() {
  static std::map<std::string, ChildJobBody> registered;
  return registered;
}

}  // namespace

ChildJobRegistration::ChildJobRegistration(const char* name, ChildJobBody body) {
  jobs().emplace(name, body);
}

ChildJobBody findChildJob(const std::string& name) {
  const auto found = jobs().find(name);
  return found == jobs().end() ? nullptr : found->second;
}

std::vector<std::string> childCommandArguments(const ChildJob& job) {
  std::vector<std::string> arguments{std::string(kChildFlag) + job.name};
  arguments.insert(arguments.end(), job.args.begin(), job.args.end());
  return arguments;
}

ChildProcess::~ChildProcess() {
  if (handle_ != 0) kill();
}

int runChild(const ChildJob& job) { return ChildProcess(job).wait(); }

bool waitForFile(const std::string& file) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!std::filesystem::exists(file)) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

int runTestsOrChildJob(int argc, char** argv) {
  if (argc >= 2 && std::string_view(argv[1]).substr(0, kChildFlag.size()) == kChildFlag) {
    const std::string name(std::string_view(argv[1]).substr(kChildFlag.size()));
    const ChildJobBody body = findChildJob(name);
    if (body == nullptr) {
      std::fprintf(stderr, "no child job is named %s\n", name.c_str());
      return 2;
    }
    int status = kCHILD_COMPLETED;
    try {
      body(ChildArgs(argv + 2, argv + argc));
    } catch (const std::exception& e) {
      std::fprintf(stderr, "child job %s: %s\n", name.c_str(), e.what());
      status = kCHILD_FAILED;
    } catch (...) {
      std::fprintf(stderr, "child job %s threw\n", name.c_str());
      status = kCHILD_FAILED;
    }
    std::fflush(nullptr);
    return status;
  }
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

}  // namespace vesk::test
