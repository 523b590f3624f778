// A model of what a power cut leaves on disk, for the durability tests.
//
// A PowerCutRecorder watches one directory (and that directory's entry in
// its parent) through the file layer's system-call table while a run of the
// store works in it: every file content change (write, truncation, a flush
// of a stream), every forced write (fdatasync of a file), every change of
// names (create, rename, delete, mkdir) and every forced directory. From
// that record it builds each state that a power cut after any step could
// leave:
//
//  - a file keeps its content as last forced, plus any prefix of the writes
//    made since, the last of them possibly cut short or written as zeros;
//  - a change of names in a directory lasts when the directory was forced
//    after it; those made since the last forced directory last in any
//    combination (a file system may keep renames that no sync separates in
//    any order).
//
// The run starts from a directory whose every file counts as forced.
//
//   PowerCutRecorder recorder(dir);
//   commitSomething(dir);               // the run, in this process
//   recorder.stop();
//   for (std::size_t step = 0; step <= recorder.steps(); ++step)
//     for (const DiskState& state : recorder.statesAfter(step))
//       { materialize(state, dir); openAndCheck(dir, step == recorder.steps()); }
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vesk::test {

// The files of the directory (name -> content); none when the directory
// itself is not there.
using DiskState = std::optional<std::map<std::string, std::string>>;

class PowerCutRecorder {
 public:
  // How many combinations are built: kQuick for the suite, kDeep for a
  // longer search (every combination of names up to ten pending changes,
  // and every pair of files cut in their own ways).
  enum class Depth { kQuick, kDeep };

  // Starts recording; `directory` may not exist yet.
  explicit PowerCutRecorder(std::string directory);
  ~PowerCutRecorder();
  PowerCutRecorder(const PowerCutRecorder&) = delete;
  PowerCutRecorder& operator=(const PowerCutRecorder&) = delete;

  // Stops recording and puts the system calls back.
  void stop();

  // The number of steps recorded.
  std::size_t steps() const { return events_.size(); }
  // The steps as text, for messages: "write registry.bin", "force
  // commitmark.1", "rename a -> b", "sync directory", ...
  std::string describe(std::size_t step) const;

  // Every distinct state that a power cut after the first `step` steps could
  // leave.
  std::vector<DiskState> statesAfter(std::size_t step, Depth depth) const;

  // Counts of what the run did, for the tests of the write modes.
  std::size_t forcedWrites() const;      // fdatasync of files
  std::size_t directoryChanges() const;  // creates, renames, deletes, syncs

  // One recorded step (public for the recording functions).
  struct Event {
    enum Kind { kContent, kForce, kName, kDirectorySync };
    Kind kind = kContent;
    int inode = -1;            // kContent, kForce
    std::size_t version = 0;   // kContent, kForce: the content version
    // kName: "create" (to, inode), "rename" (from, to), "delete" (from),
    // "mkdir" (the directory itself, in its parent).
    std::string op, from, to;
    bool inParent = false;     // kName "mkdir", kDirectorySync of the parent
  };
  struct Inode {
    std::vector<std::string> versions;  // versions[0]: before the run
  };

  // Called by the replaced system calls.
  void recordOpen(int fd, const std::string& path, bool created, bool truncated, bool isDirectory);
  void recordContent(int fd);
  void recordForce(int fd);
  void recordRename(const std::string& from, const std::string& to);
  void recordDelete(const std::string& path);
  void recordMkdir(const std::string& path);
  void recordClose(int fd);

 private:
  struct Names {
    bool exists = false;
    std::map<std::string, int> files;  // name -> inode
  };
  bool inDirectory(const std::string& path, std::string* name) const;
  // Records a change of names and applies it to the names as they stand.
  void recordName(Event event);
  // True when the name change `event` was forced by a sync of its
  // directory among the first `step` steps.
  bool forcedBefore(std::size_t event, std::size_t step) const;
  void applyName(Names& names, const Event& event) const;
  Names namesAfter(std::size_t step, const std::vector<std::size_t>& pendingKept) const;
  std::vector<std::vector<std::string>> contentChoices(std::size_t step, Depth depth) const;

  std::string directory_;
  std::string parent_;
  bool recording_ = true;
  Names initial_;
  std::vector<Inode> inodes_;
  std::vector<Event> events_;
  std::map<int, int> openFiles_;        // fd -> inode
  std::set<int> openDirectories_;       // fds of the directory
  std::set<int> openParents_;           // fds of its parent
  Names current_;
};

// Makes `directory` hold exactly `state`.
void materialize(const DiskState& state, const std::string& directory);

}  // namespace vesk::test
