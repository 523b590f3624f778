// How long twenty machines' agents take to converge on a policy change
// stream: a local etcd, twenty `tarnhive sync` agents (each with a registry
// and lock of its own, as on twenty machines), then a thousand changes,
// each its own revision, made one after another. Prints the time the
// changes took to make, and the time from the first change until each
// agent had applied the last one (median and slowest).
//
//   tarnhive_sync_bench [agents] [changes]
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <random>
#include <thread>

#include "EtcdServer.h"

namespace {

using namespace vesk::tarnhive::sync;
using Clock = std::chrono::steady_clock;

pid_t startAgent(const std::string& root, int index, const std::string& endpoint) {
  const std::string name = root + "/machine" + std::to_string(index);
  std::filesystem::create_directories(name + "-locks");
  std::vector<std::string> words{TARNHIVE_TOOL, "-d", name, "sync", "--endpoints", endpoint,
                                 "--prefix", "/policy", "/Policy"};
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    ::setenv("VESK_TARNHIVE_LOCK_DIR", (name + "-locks").c_str(), 1);
    std::freopen((name + ".out").c_str(), "w", stdout);
    std::freopen((name + ".err").c_str(), "w", stderr);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  return child;
}

// The last revision the agent reported applying.
long long lastApplied(const std::string& root, int index) {
  std::ifstream in(root + "/machine" + std::to_string(index) + ".out");
  long long last = 0;
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("revision ", 0) == 0) last = std::stoll(line.substr(9));
  }
  return last;
}

}  // namespace

int main(int argc, char** argv) {
  const int agents = argc > 1 ? std::atoi(argv[1]) : 20;
  const int changes = argc > 2 ? std::atoi(argv[2]) : 1000;
  std::string root = (std::filesystem::temp_directory_path() / "tarnhive-sync-bench-XXXXXX").string();
  if (::mkdtemp(root.data()) == nullptr) return 1;
  int status = 0;
  {
    testing::EtcdServer etcd(root + "/etcd");
    etcd.start();
    EtcdClient client(etcd.options());
    std::vector<pid_t> pids;
    for (int i = 0; i < agents; ++i) pids.push_back(startAgent(root, i, etcd.endpoint()));
    // Every agent has made its first full read before the changes start.
    const long long start = client.readPrefix("/", 0).revision;
    while (true) {
      int ready = 0;
      for (int i = 0; i < agents; ++i) ready += lastApplied(root, i) >= start ? 1 : 0;
      if (ready == agents) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }

    std::mt19937 random(7);
    const auto begin = Clock::now();
    long long last = 0;
    for (int c = 0; c < changes; ++c) {
      const std::string key = "/policy/App" + std::to_string(random() % 20) + "/k" + std::to_string(random() % 200);
      const std::string value = R"({"n": {"type": "int32", "value": )" + std::to_string(c) + "}}";
      last = *client.commitIfUnchanged("/never/", 0, {{key, value}});
    }
    const double made = std::chrono::duration<double>(Clock::now() - begin).count();
    std::vector<double> converged(agents, -1);
    for (int done = 0; done < agents;) {
      for (int i = 0; i < agents; ++i) {
        if (converged[i] < 0 && lastApplied(root, i) >= last) {
          converged[i] = std::chrono::duration<double>(Clock::now() - begin).count();
          ++done;
        }
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    for (pid_t pid : pids) ::kill(pid, SIGTERM);
    for (pid_t pid : pids) ::waitpid(pid, &status, 0);
    std::sort(converged.begin(), converged.end());
    std::printf("%d agents, %d changes (one revision each): changes made in %.2f s (%.0f/s)\n", agents,
                changes, made, changes / made);
    std::printf("every agent at revision %lld after %.2f s (median agent %.2f s) from the first change\n",
                last, converged.back(), converged[agents / 2]);
  }
  std::filesystem::remove_all(root);
  return 0;
}
