#include "support/posix/PowerCut.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "vesk/orlo/osdep/posix/SystemCalls.h"

namespace vesk::test {
namespace {

using orlo::osdep::posix::SystemCalls;
using orlo::osdep::posix::realSystemCalls;

// One recorder at a time: the replaced calls are plain functions.
PowerCutRecorder* gRecorder = nullptr;
SystemCalls gSaved;

std::string contentOf(int fd) {
  const std::string link = "/proc/self/fd/" + std::to_string(fd);
  const int reader = ::open(link.c_str(), O_RDONLY | O_CLOEXEC);
  if (reader < 0) return {};
  std::string content;
  char buffer[65536];
  for (;;) {
    const ssize_t got = ::read(reader, buffer, sizeof buffer);
    if (got <= 0) break;
    content.append(buffer, static_cast<std::size_t>(got));
  }
  ::close(reader);
  return content;
}

int recordedOpen(const char* path, int flags, mode_t mode) {
  struct stat before {};
  const bool existed = ::lstat(path, &before) == 0;
  const int fd = gSaved.open(path, flags, mode);
  if (fd >= 0 && gRecorder != nullptr) {
    struct stat status {};
    const bool isDirectory = ::fstat(fd, &status) == 0 && S_ISDIR(status.st_mode);
    gRecorder->recordOpen(fd, path, !existed && (flags & O_CREAT) != 0,
                          existed && (flags & O_TRUNC) != 0, isDirectory);
  }
  return fd;
}

ssize_t recordedWrite(int fd, const void* buffer, size_t count) {
  const ssize_t written = gSaved.write(fd, buffer, count);
  if (gRecorder != nullptr) gRecorder->recordContent(fd);
  return written;
}

int recordedTruncate(int fd, off_t length) {
  const int result = gSaved.ftruncate(fd, length);
  if (gRecorder != nullptr) gRecorder->recordContent(fd);
  return result;
}

int recordedSync(int fd) {
  const int result = gSaved.fdatasync(fd);
  if (result == 0 && gRecorder != nullptr) gRecorder->recordForce(fd);
  return result;
}

int recordedClose(int fd) {
  if (gRecorder != nullptr) gRecorder->recordClose(fd);
  return gSaved.close(fd);
}

int recordedRename(const char* from, const char* to) {
  const int result = gSaved.rename(from, to);
  if (result == 0 && gRecorder != nullptr) gRecorder->recordRename(from, to);
  return result;
}

int recordedUnlink(const char* path) {
  const int result = gSaved.unlink(path);
  if (result == 0 && gRecorder != nullptr) gRecorder->recordDelete(path);
  return result;
}

int recordedMkdir(const char* path, mode_t mode) {
  const int result = gSaved.mkdir(path, mode);
  if (result == 0 && gRecorder != nullptr) gRecorder->recordMkdir(path);
  return result;
}

// A stream's bytes reach the file when it is flushed.
int recordedFlush(std::FILE* stream) {
  const int result = gSaved.fflush(stream);
  if (gRecorder != nullptr && stream != nullptr) gRecorder->recordContent(::fileno(stream));
  return result;
}

int recordedStreamClose(std::FILE* stream) {
  if (gRecorder != nullptr) {
    gSaved.fflush(stream);
    gRecorder->recordContent(::fileno(stream));
    gRecorder->recordClose(::fileno(stream));
  }
  return gSaved.fclose(stream);
}

// The version `cut` leaves of a write that changed `before` into `after`:
// the first half of the changed bytes written (cutShort), or the changed
// bytes as zeros.
std::string cutWrite(const std::string& before, const std::string& after, bool cutShort) {
  const std::size_t longest = std::max(before.size(), after.size());
  std::size_t first = 0;
  while (first < longest && first < before.size() && first < after.size() &&
         before[first] == after[first]) {
    ++first;
  }
  std::size_t last = longest;
  while (last > first && last <= before.size() && last <= after.size() &&
         before[last - 1] == after[last - 1]) {
    --last;
  }
  std::string result = after;
  const std::size_t end = std::min(last, after.size());
  const std::size_t middle = first + (end - first) / 2;
  for (std::size_t i = first; i < end; ++i) {
    if (!cutShort) {
      result[i] = '\0';
    } else if (i >= middle) {
      result[i] = i < before.size() ? before[i] : '\0';
    }
  }
  return result;
}

}  // namespace

PowerCutRecorder::PowerCutRecorder(std::string directory) : directory_(std::move(directory)) {
  while (directory_.size() > 1 && directory_.back() == '/') directory_.pop_back();
  parent_ = std::filesystem::path(directory_).parent_path().string();
  namespace fs = std::filesystem;
  if (fs::is_directory(directory_)) {
    initial_.exists = true;
    for (const auto& entry : fs::directory_iterator(directory_)) {
      if (!entry.is_regular_file()) continue;
      std::ifstream in(entry.path(), std::ios::binary);
      Inode inode;
      inode.versions.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
      initial_.files[entry.path().filename().string()] = static_cast<int>(inodes_.size());
      inodes_.push_back(std::move(inode));
    }
  }
  current_ = initial_;
  if (gRecorder != nullptr) throw std::logic_error("one power-cut recorder at a time");
  gRecorder = this;
  gSaved = realSystemCalls();
  SystemCalls& calls = realSystemCalls();
  calls.open = recordedOpen;
  calls.write = recordedWrite;
  calls.ftruncate = recordedTruncate;
  calls.fdatasync = recordedSync;
  calls.close = recordedClose;
  calls.rename = recordedRename;
  calls.unlink = recordedUnlink;
  calls.mkdir = recordedMkdir;
  calls.fflush = recordedFlush;
  calls.fclose = recordedStreamClose;
}

PowerCutRecorder::~PowerCutRecorder() { stop(); }

void PowerCutRecorder::stop() {
  if (!recording_) return;
  recording_ = false;
  realSystemCalls() = gSaved;
  gRecorder = nullptr;
}

bool PowerCutRecorder::inDirectory(const std::string& path, std::string* name) const {
  if (path.size() <= directory_.size() + 1 || path.compare(0, directory_.size(), directory_) != 0 ||
      path[directory_.size()] != '/') {
    return false;
  }
  *name = path.substr(directory_.size() + 1);
  return name->find('/') == std::string::npos;
}

void PowerCutRecorder::recordOpen(int fd, const std::string& path, bool created, bool truncated,
                                  bool isDirectory) {
  if (isDirectory) {
    if (path == directory_) openDirectories_.insert(fd);
    if (path == parent_) openParents_.insert(fd);
    return;
  }
  std::string name;
  if (!inDirectory(path, &name)) return;
  int inode = -1;
  const auto known = current_.files.find(name);
  if (created || known == current_.files.end()) {
    inode = static_cast<int>(inodes_.size());
    inodes_.push_back(Inode{{std::string()}});
    Event event;
    event.op = "create";
    event.to = name;
    event.inode = inode;
    recordName(std::move(event));
  } else {
    inode = known->second;
  }
  openFiles_[fd] = inode;
  if (truncated) recordContent(fd);
}

void PowerCutRecorder::recordContent(int fd) {
  const auto open = openFiles_.find(fd);
  if (open == openFiles_.end()) return;
  Inode& inode = inodes_[static_cast<std::size_t>(open->second)];
  std::string content = contentOf(fd);
  if (content == inode.versions.back()) return;
  inode.versions.push_back(std::move(content));
  Event event;
  event.kind = Event::kContent;
  event.inode = open->second;
  event.version = inode.versions.size() - 1;
  events_.push_back(event);
}

void PowerCutRecorder::recordForce(int fd) {
  Event event;
  if (openDirectories_.count(fd) || openParents_.count(fd)) {
    event.kind = Event::kDirectorySync;
    event.inParent = openParents_.count(fd) != 0;
    events_.push_back(event);
    return;
  }
  const auto open = openFiles_.find(fd);
  if (open == openFiles_.end()) return;
  event.kind = Event::kForce;
  event.inode = open->second;
  event.version = inodes_[static_cast<std::size_t>(open->second)].versions.size() - 1;
  events_.push_back(event);
}

void PowerCutRecorder::recordRename(const std::string& from, const std::string& to) {
  Event event;
  if (!inDirectory(from, &event.from) || !inDirectory(to, &event.to)) return;
  event.op = "rename";
  recordName(std::move(event));
}

void PowerCutRecorder::recordDelete(const std::string& path) {
  Event event;
  if (!inDirectory(path, &event.from)) return;
  event.op = "delete";
  recordName(std::move(event));
}

void PowerCutRecorder::recordMkdir(const std::string& path) {
  if (path != directory_) return;
  Event event;
  event.op = "mkdir";
  event.inParent = true;
  recordName(std::move(event));
}

void PowerCutRecorder::recordName(Event event) {
  event.kind = Event::kName;
  applyName(current_, event);
  events_.push_back(std::move(event));
}

void PowerCutRecorder::recordClose(int fd) {
  openFiles_.erase(fd);
  openDirectories_.erase(fd);
  openParents_.erase(fd);
}

void PowerCutRecorder::applyName(Names& names, const Event& event) const {
  if (event.op == "mkdir") {
    names.exists = true;
  } else if (event.op == "create") {
    names.files[event.to] = event.inode;
  } else if (event.op == "rename") {
    const auto from = names.files.find(event.from);
    if (from == names.files.end()) return;
    const int inode = from->second;
    names.files.erase(from);
    names.files[event.to] = inode;
  } else if (event.op == "delete") {
    names.files.erase(event.from);
  }
}

std::string PowerCutRecorder::describe(std::size_t step) const {
  const Event& event = events_.at(step);
  const auto nameOf = [&](int inode) {
    for (const auto& [name, number] : current_.files) {
      if (number == inode) return name;
    }
    return "inode " + std::to_string(inode);
  };
  switch (event.kind) {
    case Event::kContent: return "write " + nameOf(event.inode);
    case Event::kForce: return "force " + nameOf(event.inode);
    case Event::kDirectorySync: return event.inParent ? "sync parent" : "sync directory";
    case Event::kName:
      if (event.op == "rename") return "rename " + event.from + " -> " + event.to;
      return event.op + " " + (event.from.empty() ? event.to : event.from);
  }
  return {};
}

std::size_t PowerCutRecorder::forcedWrites() const {
  return static_cast<std::size_t>(std::count_if(
      events_.begin(), events_.end(), [](const Event& e) { return e.kind == Event::kForce; }));
}

std::size_t PowerCutRecorder::directoryChanges() const {
  return static_cast<std::size_t>(std::count_if(events_.begin(), events_.end(), [](const Event& e) {
    return e.kind == Event::kName || e.kind == Event::kDirectorySync;
  }));
}

bool PowerCutRecorder::forcedBefore(std::size_t event, std::size_t step) const {
  for (std::size_t i = step; i > event + 1; --i) {
    const Event& sync = events_[i - 1];
    if (sync.kind == Event::kDirectorySync && sync.inParent == events_[event].inParent) return true;
  }
  return false;
}

PowerCutRecorder::Names PowerCutRecorder::namesAfter(
    std::size_t step, const std::vector<std::size_t>& pendingKept) const {
  Names names = initial_;
  for (std::size_t i = 0; i < step; ++i) {
    const Event& event = events_[i];
    if (event.kind != Event::kName) continue;
    const bool lasting = forcedBefore(i, step) ||
                         std::find(pendingKept.begin(), pendingKept.end(), i) != pendingKept.end();
    if (lasting) applyName(names, event);
  }
  return names;
}

std::vector<std::vector<std::string>> PowerCutRecorder::contentChoices(std::size_t step,
                                                                       Depth depth) const {
  std::vector<std::size_t> latest(inodes_.size(), 0);
  std::vector<std::size_t> forced(inodes_.size(), 0);
  for (std::size_t i = 0; i < step; ++i) {
    const Event& event = events_[i];
    if (event.kind == Event::kContent) latest[static_cast<std::size_t>(event.inode)] = event.version;
    if (event.kind == Event::kForce) forced[static_cast<std::size_t>(event.inode)] = event.version;
  }
  std::vector<std::vector<std::string>> choices(inodes_.size());
  for (std::size_t n = 0; n < inodes_.size(); ++n) {
    const std::vector<std::string>& versions = inodes_[n].versions;
    std::vector<std::string>& mine = choices[n];
    // First what was forced, then what the run wrote last.
    mine.push_back(versions[forced[n]]);
    if (latest[n] <= forced[n]) continue;
    mine.push_back(versions[latest[n]]);
    for (std::size_t v = forced[n] + 1; v <= latest[n]; ++v) {
      if (v < latest[n]) mine.push_back(versions[v]);
      if (v == latest[n] || depth == Depth::kDeep) {
        mine.push_back(cutWrite(versions[v - 1], versions[v], true));
        mine.push_back(cutWrite(versions[v - 1], versions[v], false));
      }
    }
    std::sort(mine.begin() + 2, mine.end());
    mine.erase(std::unique(mine.begin() + 2, mine.end()), mine.end());
  }
  return choices;
}

std::vector<DiskState> PowerCutRecorder::statesAfter(std::size_t step, Depth depth) const {
  // The name changes not yet forced, each of which may or may not last.
  std::vector<std::size_t> pending;
  for (std::size_t i = 0; i < step; ++i) {
    if (events_[i].kind == Event::kName && !forcedBefore(i, step)) pending.push_back(i);
  }
  std::vector<std::vector<std::size_t>> nameCases;
  const std::size_t limit = depth == Depth::kDeep ? 10 : 6;
  if (pending.size() <= limit) {
    for (std::size_t mask = 0; mask < (std::size_t{1} << pending.size()); ++mask) {
      std::vector<std::size_t> kept;
      for (std::size_t b = 0; b < pending.size(); ++b) {
        if (mask & (std::size_t{1} << b)) kept.push_back(pending[b]);
      }
      nameCases.push_back(std::move(kept));
    }
  } else {
    for (std::size_t n = 0; n <= pending.size(); ++n) {
      nameCases.emplace_back(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(n));
      std::vector<std::size_t> allButOne = pending;
      if (n < pending.size()) allButOne.erase(allButOne.begin() + static_cast<std::ptrdiff_t>(n));
      nameCases.push_back(std::move(allButOne));
    }
  }

  const std::vector<std::vector<std::string>> choices = contentChoices(step, depth);
  // Which content each file takes: all as forced, all as last written, and
  // each file in each of its ways while the others are one or the other.
  std::vector<std::vector<std::size_t>> picks;
  const std::size_t count = inodes_.size();
  picks.emplace_back(count, 0);
  std::vector<std::size_t> newest(count, 0);
  for (std::size_t n = 0; n < count; ++n) newest[n] = choices[n].size() > 1 ? 1 : 0;
  picks.push_back(newest);
  for (std::size_t n = 0; n < count; ++n) {
    for (std::size_t c = 0; c < choices[n].size(); ++c) {
      for (const bool othersNewest : {false, true}) {
        std::vector<std::size_t> pick = othersNewest ? newest : std::vector<std::size_t>(count, 0);
        pick[n] = c;
        picks.push_back(pick);
        if (depth != Depth::kDeep) continue;
        for (std::size_t m = n + 1; m < count; ++m) {
          for (std::size_t d = 0; d < choices[m].size(); ++d) {
            std::vector<std::size_t> pair = pick;
            pair[m] = d;
            picks.push_back(std::move(pair));
          }
        }
      }
    }
  }

  std::set<DiskState> states;
  for (const std::vector<std::size_t>& kept : nameCases) {
    const Names names = namesAfter(step, kept);
    for (const std::vector<std::size_t>& pick : picks) {
      if (!names.exists) {
        states.insert(std::nullopt);
        continue;
      }
      std::map<std::string, std::string> files;
      for (const auto& [name, inode] : names.files) {
        const auto n = static_cast<std::size_t>(inode);
        files[name] = choices[n][pick[n]];
      }
      states.insert(std::move(files));
    }
  }
  return std::vector<DiskState>(states.begin(), states.end());
}

void materialize(const DiskState& state, const std::string& directory) {
  namespace fs = std::filesystem;
  fs::remove_all(directory);
  if (!state) return;
  fs::create_directories(directory);
  for (const auto& [name, content] : *state) {
    std::ofstream(fs::path(directory) / name, std::ios::binary) << content;
  }
}

}  // namespace vesk::test
