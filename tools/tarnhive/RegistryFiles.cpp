// Reading the registry directory. A commit writes commitmark.N+1 and then
// deletes commitmark.N; a compaction renames registry.bin away, puts the
// new file in its place and renames its mark to commitmark.1. So a reader
// takes the newest mark, reads the file it belongs to (by inode), and
// checks that neither changed while it read.
#include "RegistryFiles.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace vesk::tarnhive::tool {
namespace {

namespace fs = std::filesystem;

std::optional<std::uint64_t> decimal(const std::string& text) {
  if (text.empty() || text.size() > 19) return std::nullopt;
  std::uint64_t number = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    number = number * 10 + static_cast<std::uint64_t>(c - '0');
  }
  return number;
}

std::string readWhole(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::optional<std::uint64_t> inodeOf(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return std::nullopt;
  return static_cast<std::uint64_t>(info.st_ino);
}

// One attempt; nothing when the files changed or are not settled.
std::optional<Snapshot> tryRead(const std::string& directory, std::string& why) {
  const auto mark = newestMark(directory);
  if (!mark) {
    why = "no commit mark with a decimal content in " + directory;
    return std::nullopt;
  }
  const std::string path = directory + "/registry.bin";
  const auto before = inodeOf(path);
  std::ifstream in(path, std::ios::binary);
  if (!before || !in) {
    why = "there is no registry.bin in " + directory;
    return std::nullopt;
  }
  Snapshot snapshot;
  snapshot.mark = *mark;
  snapshot.bytes.assign((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  snapshot.fileSize = snapshot.bytes.size();
  snapshot.fileId = *before;
  const auto markAfter = newestMark(directory);
  if (inodeOf(path) != before || !markAfter || markAfter->number != mark->number ||
      markAfter->validEnd != mark->validEnd) {
    why = "the registry changed while it was read";
    return std::nullopt;
  }
  if (snapshot.fileSize < mark->validEnd) {
    why = "registry.bin is " + std::to_string(snapshot.fileSize) + " bytes long, shorter than its commit mark's valid end " + std::to_string(mark->validEnd);
    return std::nullopt;
  }
  snapshot.bytes.resize(mark->validEnd);
  return snapshot;
}

}  // namespace

std::string commonDataDirectory() {
  const char* configured = std::getenv("VESKPUBAPPDATADIR");
  std::error_code error;
  if (configured != nullptr && configured[0] != 0) return configured;
  if (fs::is_directory("/var/lib", error)) return "/var/lib/Tovanex";
  const char* temporary = std::getenv("TMPDIR");
  return (fs::path(temporary != nullptr && temporary[0] != 0 ? temporary : "/tmp") /
          "Tovanex Common App Data")
      .string();
}

std::string registryDirectory(const GlobalOptions& options) {
  if (!options.directory.empty()) return options.directory;
  return (fs::path(commonDataDirectory()) / "Tarnhive").string();
}

std::vector<MarkFile> markFiles(const std::string& directory) {
  std::vector<std::pair<std::uint64_t, MarkFile>> found;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(directory, error)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with("commitmark.") || entry.is_directory(error)) continue;
    const auto number = decimal(name.substr(11));
    found.push_back({number.value_or(0), {name, readWhole(entry.path().string())}});
  }
  std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<MarkFile> marks;
  for (auto& entry : found) marks.push_back(std::move(entry.second));
  return marks;
}

std::optional<CommitMark> newestMark(const std::string& directory) {
  const std::vector<MarkFile> marks = markFiles(directory);
  for (auto mark = marks.rbegin(); mark != marks.rend(); ++mark) {
    const auto number = decimal(mark->name.substr(11));
    const auto validEnd = decimal(mark->content);
    if (number && *number > 0 && validEnd) return CommitMark{*number, *validEnd};
  }
  return std::nullopt;
}

std::optional<Snapshot> readSnapshot(const std::string& directory, std::string& why,
                                     int attempts) {
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (auto snapshot = tryRead(directory, why)) return snapshot;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return std::nullopt;
}

std::optional<std::uint64_t> fileSize(const std::string& path) {
  std::error_code error;
  const auto size = fs::file_size(path, error);
  if (error) return std::nullopt;
  return size;
}

}  // namespace vesk::tarnhive::tool
