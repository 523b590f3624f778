// watch: reports every commit that any process makes, once and in order.
//
// The watcher remembers where the last block it reported ends, that
// block's checksum and the file's inode, and which buckets the registry
// held then. When the directory changes (inotify, with a periodic look as a
// fallback) it reads the file up to the valid end of the newest commit mark:
// if the same file merely grew, each new block is one commit and its index
// says what it wrote and deleted. If the file was replaced, a compaction
// rewrote it as one block that folds every commit before it: that block is
// compared with what the watcher knew, and only the net change is reported
// (commits it has not seen yet are folded into that one report). Blocks
// after it are commits again.
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "Commands.h"
#include "Encoding.h"
#include "Names.h"
#include "Output.h"
#include "RegistryFiles.h"
#include "StoredBuckets.h"
#include "ToolError.h"
#include "ValueAccess.h"
#include "ValueJson.h"
#include "ValueText.h"

namespace vesk::tarnhive::tool {
namespace {

// One commit as reported.
struct Change {
  std::size_t block = 0;
  std::uint64_t offset = 0;
  bool folded = false;
  std::vector<std::u16string> written;
  std::vector<std::u16string> deleted;
  Json details = Json::array();  // value changes, with -v
};

class Watcher {
 public:
  Watcher(const GlobalOptions& options, std::string directory, std::u16string root, bool verbose)
      : options_(options), directory_(std::move(directory)), root_(std::move(root)), verbose_(verbose) {}

  // Reads the registry as it stands; false while it is not settled.
  bool start() {
    std::string why;
    auto snapshot = readSnapshot(directory_, why, 1);
    if (!snapshot) return false;
    std::vector<Problem> problems;
    const auto blocks = readBlocks(snapshot->bytes, problems);
    known_ = decodeBuckets(snapshot->bytes, blocks, liveEntries(blocks), problems);
    failOn(problems);
    remember(*snapshot, blocks.size());
    return true;
  }

  // Reports the commits made since the last look.
  void look() {
    std::string why;
    auto snapshot = readSnapshot(directory_, why, 1);
    if (!snapshot) return;  // a switch in progress: the next event comes
    const std::string_view file = snapshot->bytes;
    std::vector<Problem> problems;
    const bool grew = snapshot->fileId == fileId_ && file.size() >= end_ &&
                      (end_ == 0 || file.substr(end_ - 56, 32) == checksum_);
    if (grew && file.size() == end_) return;
    std::vector<Block> blocks = readBlocksAfter(file, grew ? end_ : 0, problems);
    failOn(problems);
    std::size_t number = grew ? blockCount_ : 0;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      ++number;
      if (!grew && i == 0) {
        reportFolded(file, blocks, number);
      } else {
        reportBlock(file, blocks[i], number);
      }
    }
    remember(*snapshot, number);
  }

 private:
  void failOn(const std::vector<Problem>& problems) {
    if (problems.empty()) return;
    fail(kExitDamaged, "the registry in " + directory_ + " is damaged at offset " +
                           std::to_string(problems.front().offset) + ": " + problems.front().message +
                           " (tarnhive check lists every problem)");
  }

  void remember(const Snapshot& snapshot, std::size_t blocks) {
    fileId_ = snapshot.fileId;
    end_ = snapshot.bytes.size();
    checksum_ = end_ == 0 ? std::string() : snapshot.bytes.substr(end_ - 56, 32);
    blockCount_ = blocks;
  }

  void reportBlock(std::string_view file, const Block& block, std::size_t number) {
    Change change;
    change.block = number;
    change.offset = block.start;
    std::vector<Problem> problems;
    std::map<std::string, const IndexEntry*> entries;
    for (const IndexEntry& entry : block.entries) entries.emplace(entry.digest, &entry);
    for (const std::string& digest : block.deleted) entries.erase(digest);
    StoredBuckets written = decodeBuckets(file, {block}, entries, problems);
    failOn(problems);
    for (auto& [digest, bucket] : written) noteWritten(change, digest, bucket);
    for (const std::string& digest : block.deleted) noteDeleted(change, digest);
    emit(change);
  }

  void reportFolded(std::string_view file, const std::vector<Block>& blocks, std::size_t number) {
    Change change;
    change.block = number;
    change.offset = blocks.front().start;
    change.folded = true;
    std::vector<Problem> problems;
    StoredBuckets now = decodeBuckets(file, {blocks.front()}, liveEntries({blocks.front()}), problems);
    failOn(problems);
    std::vector<std::string> gone;
    for (const auto& [digest, bucket] : known_) {
      if (!now.count(digest)) gone.push_back(digest);
    }
    for (const std::string& digest : gone) noteDeleted(change, digest);
    for (auto& [digest, bucket] : now) {
      const auto old = known_.find(digest);
      if (old == known_.end() || !(old->second.record.values == bucket.record.values) ||
          old->second.record.fullName != bucket.record.fullName) {
        noteWritten(change, digest, bucket);
      }
    }
    emit(change);
  }

  void noteWritten(Change& change, const std::string& digest, StoredBucket& bucket) {
    const std::u16string& name = bucket.record.fullName;
    if (isAtOrBelow(name, root_)) {
      change.written.push_back(name);
      const auto old = known_.find(digest);
      if (verbose_) describeValues(change, name, old == known_.end() ? nullptr : &old->second.record.values, bucket.record.values);
    }
    known_[digest] = std::move(bucket);
  }

  void noteDeleted(Change& change, const std::string& digest) {
    const auto old = known_.find(digest);
    if (old == known_.end()) {
      if (root_ == u"/") change.deleted.push_back(u"#" + *fromUtf8(toHex(digest)));
      return;
    }
    if (isAtOrBelow(old->second.record.fullName, root_)) change.deleted.push_back(old->second.record.fullName);
    known_.erase(old);
  }

  void describeValues(Change& change, const std::u16string& bucket, const NamedValues* before,
                      const NamedValues& after) {
    const auto lookUp = [](const NamedValues* values, const std::u16string& name) -> const Value* {
      if (values == nullptr) return nullptr;
      for (const auto& entry : *values) {
        if (sameName(entry.first, name)) return &entry.second;
      }
      return nullptr;
    };
    for (const auto& [name, value] : after) {
      if (isChildLink(bucket, name, value)) continue;
      const Value* old = lookUp(before, name);
      if (old != nullptr && *old == value) continue;
      Json entry = toJson(value);
      entry["bucket"] = nameKey(bucket);
      entry["name"] = nameKey(name);
      change.details.push_back(entry);
    }
    if (before == nullptr) return;
    for (const auto& [name, value] : *before) {
      if (!isChildLink(bucket, name, value) && lookUp(&after, name) == nullptr) {
        change.details.push_back({{"bucket", nameKey(bucket)}, {"name", nameKey(name)}, {"removed", true}});
      }
    }
  }

  void emit(Change& change) {
    if (change.written.empty() && change.deleted.empty()) return;
    std::sort(change.written.begin(), change.written.end());
    std::sort(change.deleted.begin(), change.deleted.end());
    Json written = Json::array(), deleted = Json::array();
    for (const auto& name : change.written) written.push_back(nameKey(name));
    for (const auto& name : change.deleted) deleted.push_back(nameKey(name));
    if (options_.json) {
      Json line{{"block", change.block}, {"offset", change.offset}, {"compacted", change.folded},
                {"written", written}, {"deleted", deleted}};
      if (verbose_) line["changes"] = change.details;
      printLine(line.dump());
    } else {
      std::string line = "block " + std::to_string(change.block) + " at " + std::to_string(change.offset);
      if (change.folded) line += " (compacted: net change)";
      line += ":";
      if (!written.empty()) line += " written " + joined(change.written);
      if (!written.empty() && !deleted.empty()) line += ";";
      if (!deleted.empty()) line += " deleted " + joined(change.deleted);
      printLine(line);
      if (verbose_) printDetails(change.details);
    }
    std::fflush(stdout);
  }

  static std::string joined(const std::vector<std::u16string>& names) {
    std::string text;
    for (const auto& name : names) text += (text.empty() ? "" : ", ") + displayName(name);
    return text;
  }

  static void printDetails(const Json& details) {
    for (const Json& entry : details) {
      std::string line = "  " + entry["bucket"].get<std::string>() + " " + entry["name"].get<std::string>();
      if (entry.contains("removed")) {
        printLine(line + " removed");
      } else {
        printLine(line + " = " + entry["type"].get<std::string>() + " " +
                  displayText(fromJson(entry, "a change")));
      }
    }
  }

  const GlobalOptions& options_;
  std::string directory_;
  std::u16string root_;
  bool verbose_;
  StoredBuckets known_;
  std::uint64_t fileId_ = 0;
  std::uint64_t end_ = 0;
  std::string checksum_;
  std::size_t blockCount_ = 0;
};

// Waits until something in the directory changes, or a second passes.
class DirectoryEvents {
 public:
  explicit DirectoryEvents(const std::string& directory)
      : fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (fd_ >= 0) {
      ::inotify_add_watch(fd_, directory.c_str(),
                          IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM);
    }
  }
  ~DirectoryEvents() {
    if (fd_ >= 0) ::close(fd_);
  }
  DirectoryEvents(const DirectoryEvents&) = delete;
  DirectoryEvents& operator=(const DirectoryEvents&) = delete;

  void wait() {
    pollfd watched{fd_, POLLIN, 0};
    if (fd_ < 0 || ::poll(&watched, 1, 1000) <= 0) return;
    char buffer[4096];
    while (::read(fd_, buffer, sizeof buffer) > 0) {
    }
  }

 private:
  int fd_;
};

}  // namespace

void watchRegistry(const GlobalOptions& options, const std::string& path, bool verbose) {
  const std::string directory = registryDirectory(options);
  std::error_code error;
  if (!std::filesystem::is_directory(directory, error)) {
    fail(kExitNotFound, "the registry directory " + directory + " does not exist");
  }
  Watcher watcher(options, directory, normalizePath(path), verbose);
  DirectoryEvents events(directory);
  while (!watcher.start()) events.wait();
  std::fprintf(stderr, "tarnhive: watching %s\n", directory.c_str());
  std::fflush(stderr);
  for (;;) {
    events.wait();
    watcher.look();
  }
}

}  // namespace vesk::tarnhive::tool
