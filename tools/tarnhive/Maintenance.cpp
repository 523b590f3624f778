// compact, backup and info: the registry directory as a whole.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "BlockReader.h"
#include "Commands.h"
#include "Output.h"
#include "RegistryFiles.h"
#include "ToolError.h"
#include "ValueJson.h"

namespace vesk::tarnhive::tool {
namespace {

namespace fs = std::filesystem;

// Holds the registry lock for a scope.
class LockHold {
 public:
  LockHold(IBucketManager& manager, double timeout)
      : manager_(manager), token_(takeLock(manager, timeout)) {}
  ~LockHold() {
    TarnhiveStatus status;
    manager_.releaseLock(token_, &status);
  }
  LockHold(const LockHold&) = delete;
  LockHold& operator=(const LockHold&) = delete;

  const Guid& token() const { return token_; }

 private:
  IBucketManager& manager_;
  Guid token_;
};

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string trimmed(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// The [Tarnhive] keys of an options file, lower-cased.
std::map<std::string, std::string> readOptions(const std::string& path) {
  std::map<std::string, std::string> keys;
  std::ifstream in(path);
  bool inSection = false;
  for (std::string line; std::getline(in, line);) {
    line = trimmed(line);
    if (line.empty() || line[0] == ';' || line[0] == '#') continue;
    if (line.front() == '[') {
      inSection = lower(line) == "[tarnhive]";
    } else if (inSection && line.find('=') != std::string::npos) {
      keys[lower(trimmed(line.substr(0, line.find('='))))] = trimmed(line.substr(line.find('=') + 1));
    }
  }
  return keys;
}

Json optionsInForce(const GlobalOptions& options) {
  const std::string path = options.iniFile.empty()
                               ? (fs::path(commonDataDirectory()) / "Tarnhive" / "config" / "Tarnhive.ini").string()
                               : options.iniFile;
  const auto keys = readOptions(path);
  Json table{{"file", path}, {"fileExists", fs::exists(path)}};
  for (const auto& [key, fallback] :
       {std::pair<const char*, const char*>{"MemoryCacheSizeLimitKB", "1024"},
        {"MemoryCacheUpdatePct", "10"},
        {"DiskMaxRegistryFileSizeKB", "1024"},
        {"MemoryIndicesSizeLimitKB", "1024"},
        {"DebugCompareRegAtStartMode", "0"}}) {
    const auto found = keys.find(lower(key));
    table[key] = found == keys.end() ? fallback : found->second;
  }
  return table;
}

std::string lockDirectory() {
  const char* configured = std::getenv("VESK_TARNHIVE_LOCK_DIR");
  if (configured != nullptr) return configured;
  std::error_code error;
  return fs::is_directory("/dev/shm", error) ? "/dev/shm" : "/tmp";
}

void writeFile(const fs::path& path, std::string_view bytes, Progress* progress) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  constexpr std::size_t kPiece = 1 << 20;
  for (std::size_t done = 0; done < bytes.size() && out; done += kPiece) {
    out.write(bytes.data() + done, static_cast<std::streamsize>(std::min(kPiece, bytes.size() - done)));
    if (progress != nullptr) progress->step(std::min(done + kPiece, bytes.size()) >> 10);
  }
  out.close();
  if (!out) fail(kExitDamaged, "cannot write " + path.string());
}

}  // namespace

void compactRegistry(const GlobalOptions& options) {
  const std::string path = registryDirectory(options) + "/registry.bin";
  const auto before = fileSize(path);
  Session session(options);
  {
    LockHold hold(session.manager(), options.timeout);
    TarnhiveStatus status;
    ITarnhive3* registry = GetInterface3(&status);
    require(status, "loading the registry library");
    registry->compactRegistry(hold.token(), &status);
    require(status, "compacting " + session.directory());
  }
  const auto after = fileSize(session.directory() + "/registry.bin");
  printLine("compacted " + session.directory() + ": " + std::to_string(before.value_or(0)) +
            " bytes before, " + std::to_string(after.value_or(0)) + " bytes after");
}

void backupRegistry(const GlobalOptions& options, const std::string& destination) {
  std::error_code error;
  if (fs::exists(destination, error) && !fs::is_empty(destination, error)) {
    fail(kExitUsage, "the backup directory " + destination + " is not empty");
  }
  Session session(options);
  LockHold hold(session.manager(), options.timeout);
  // Under the lock no process commits or compacts, so the snapshot is the
  // registry as it stands.
  std::string why;
  const auto snapshot = readSnapshot(session.directory(), why);
  if (!snapshot) fail(kExitDamaged, "cannot read " + session.directory() + ": " + why);
  fs::create_directories(destination, error);
  if (error) fail(kExitDamaged, "cannot make " + destination + ": " + error.message());
  Progress progress("backup", snapshot->bytes.size() >> 10, "KiB");
  writeFile(fs::path(destination) / "registry.bin", snapshot->bytes, &progress);
  writeFile(fs::path(destination) / "commitmark.1", std::to_string(snapshot->mark.validEnd), nullptr);
  printLine("backed up " + session.directory() + " to " + destination + ": " +
            std::to_string(snapshot->bytes.size()) + " bytes");
}

void showInfo(const GlobalOptions& options) {
  const std::string directory = registryDirectory(options);
  Json info{{"directory", directory}, {"lockDirectory", lockDirectory()}};
  Json files = Json::object();
  for (const char* name : {"registry.bin", "registry.bin.1", "registry.bin.2", "newCommitmark", "oldCommitmark"}) {
    if (auto size = fileSize(directory + "/" + name)) files[name] = *size;
  }
  for (const MarkFile& mark : markFiles(directory)) files[mark.name] = mark.content;
  info["files"] = files;
  std::string why;
  if (auto snapshot = readSnapshot(directory, why)) {
    std::vector<Problem> problems;
    const auto blocks = readBlocks(snapshot->bytes, problems);
    info["commitMark"] = snapshot->mark.number;
    info["validEnd"] = snapshot->mark.validEnd;
    info["blocks"] = blocks.size();
    info["buckets"] = liveEntries(blocks).size();
    if (!problems.empty()) info["damaged"] = "yes (tarnhive check lists the problems)";
  } else {
    info["unreadable"] = why;
  }
  info["options"] = optionsInForce(options);
  if (options.json) {
    printLine(info.dump(2));
    return;
  }
  for (const auto& [key, value] : info.items()) {
    if (!value.is_object()) {
      printLine(key + ": " + (value.is_string() ? value.get<std::string>() : value.dump()));
      continue;
    }
    printLine(key + ":");
    for (const auto& [inner, item] : value.items()) {
      printLine("  " + inner + ": " + (item.is_string() ? item.get<std::string>() : item.dump()));
    }
  }
}

}  // namespace vesk::tarnhive::tool
