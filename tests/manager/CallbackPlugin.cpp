// A callback library for the tests: each callback appends a line naming
// itself and the registry directory to "callbacks.log" in that directory.
#include <fstream>
#include <string>

namespace {

void record(const char* what, const char* directory) {
  std::ofstream(std::string(directory) + "/callbacks.log", std::ios::app | std::ios::binary)
      << what << ' ' << directory << '\n';
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void TarnhivePreInitCallback(
    const char* directory) {
  record("pre-init", directory);
}

extern "C" __attribute__((visibility("default"))) void TarnhivePostCommitCallback(
    const char* directory) {
  record("post-commit", directory);
}
