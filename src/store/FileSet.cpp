#include "store/FileSet.h"

#include "store/BlockRecovery.h"
#include "store/CommitMarks.h"
#include "store/RegistryIo.h"
#include "vesk/orlo/Exception.h"
#include "vesk/orlo/osdep/GetFileSize.h"
#include "vesk/orlo/osdep/Path.h"
#include "vesk/orlo/osdep/TextFile.h"

namespace vesk::tarnhive::store {
namespace {

namespace path = orlo::osdep::path;
using orlo::osdep::BinaryFile;

constexpr char kSource[] = "vesk/tarnhive/store/FileSet";

void deleteIfExists(const orlo::WideString& file) {
  if (path::entryExists(file)) path::deleteFile(file);
}

// The new file is in place as "registry.bin" and "newCommitmark" names its
// length: whatever numbered mark is left belongs to the old file. The new
// mark takes its place, and the marks are scanned again.
// The old marks' removal is forced before the new mark takes the name
// commitmark.1: an old mark that came back after a power cut would outrank
// it.
void takeNewMark(StoreState& state) {
  deleteCommitMarks(state);
  path::syncDirectory(state.directory);
  path::rename(state.newMarkPath, commitMarkPath(state, 1));
  path::syncDirectory(state.directory);
  scanCommitMarks(state);
}

// A compaction was building ".1": the old file and its mark still hold.
void repairCompacting(StoreState& state) {
  path::deleteFile(state.registryPath1);
  deleteIfExists(state.newMarkPath);
}

// The old file was moved to ".2" and the new one not yet put in place: finish
// the switch. The old mark may still stand under its number (the switch
// stopped before moving it); it names the old file, so the new mark
// replaces it rather than competing with it. A crash during this repair
// leaves the state below, which the next open finishes.
void repairSwitchedAway(StoreState& state) {
  path::rename(state.registryPath1, state.registryPath);
  path::syncDirectory(state.directory);
  takeNewMark(state);
  path::deleteFile(state.registryPath2);
  deleteIfExists(state.oldMarkPath);
}

// Only reachable when something outside the store removed "newCommitmark"
// or the compacted file: the old file, which holds every commit, goes back
// with its mark, and what is left of the compaction is removed.
void repairSwitchedAwayNoMark(StoreState& state) {
  path::rename(state.registryPath2, state.registryPath);
  if (path::entryExists(state.oldMarkPath)) {
    deleteCommitMarks(state);
    path::syncDirectory(state.directory);
    path::rename(state.oldMarkPath, commitMarkPath(state, 1));
  }
  path::syncDirectory(state.directory);
  path::deleteFile(state.registryPath1, true);
  path::deleteFile(state.newMarkPath, true);
  scanCommitMarks(state);
}

// The new file is in place: remove what the switch left behind. When the
// switch stopped before its new mark was put in place, "newCommitmark" is
// still there and names the new file: it becomes the mark in force.
void repairSwitched(StoreState& state) {
  if (path::entryExists(state.newMarkPath)) takeNewMark(state);
  deleteIfExists(state.registryPath2);
  deleteIfExists(state.oldMarkPath);
}

// "registry.bin" alone: a mark file of a switch that is still there was left
// by one that completed (or was taken back), and nothing reads it.
void removeSwitchLeftovers(StoreState& state) {
  deleteIfExists(state.oldMarkPath);
  deleteIfExists(state.newMarkPath);
}

// No usable commit mark stands beside a file that holds data: the mark was
// lost or emptied. The file itself tells how far its blocks are complete; a
// mark is written for that end. A file without a single complete block is
// left untouched and reported as damaged.
void recoverValidEnd(StoreState& state) {
  const std::int64_t end = lastCompleteBlockEnd(state.file, state.fileSize);
  if (end == 0) orlo::exception::raise(orlo::exception::DeserializationError(), kSource, __LINE__);
  state.resetFlag = true;
  writeCommitMark(state, end);
  state.validEnd = end;
}

// The mark holds a number that ends no block: a power cut stopped the
// rewrite of its digits after the commit's block was forced, or the mark
// was damaged. When the file is complete blocks from start to end, the
// commit that wrote the last one stands and the mark is written for its
// end. Anything else is damage: the file is left as it is, nothing cut.
void rebuildMark(StoreState& state) {
  const std::int64_t end = lastCompleteBlockEnd(state.file, state.fileSize);
  if (end == 0 || end != state.fileSize) {
    orlo::exception::raise(orlo::exception::DeserializationError(), kSource, __LINE__);
  }
  writeCommitMark(state, end);
  state.validEnd = end;
}

void openRegistryFile(StoreState& state) {
  if (path::exists(state.registryPath)) {
    state.fileSize = orlo::osdep::GetFileSize(state.registryPath);
    state.file.open(state.registryPath, BinaryFile::kREADWRITE);
    return;
  }
  orlo::osdep::TextFile create;
  create.open(state.registryPath, orlo::osdep::TextFile::kAPPEND);
  create.close();
  state.fileSize = 0;
  state.file.open(state.registryPath,
                  BinaryFile::kCREATE | BinaryFile::kTRUNCATE | BinaryFile::kREADWRITE);
}

}  // namespace

FileSetCase classifyFileSet(const StoreState& state) {
  const bool registry = path::exists(state.registryPath);
  const bool compacted = path::exists(state.registryPath1);
  const bool previous = path::exists(state.registryPath2);
  if (registry && !compacted && !previous) return FileSetCase::kNormal;
  if (registry && compacted) return FileSetCase::kCompacting;
  if (!registry && compacted && previous) {
    return path::exists(state.newMarkPath) ? FileSetCase::kSwitchedAway
                                           : FileSetCase::kSwitchedAwayNoMark;
  }
  // The old file moved away and no compacted file to put in its place:
  // only something outside the store does that. The old file goes back.
  if (!registry && previous) return FileSetCase::kSwitchedAwayNoMark;
  if (registry && previous) return FileSetCase::kSwitched;
  return FileSetCase::kNothing;
}

void openFileSet(StoreState& state) {
  state.registryPath = storePath(state, kRegistryFileName);
  state.registryPath1 = storePath(state, kCompactingFileName);
  state.registryPath2 = storePath(state, kPreviousFileName);

  if (!path::exists(state.registryPath)) {
    state.resetFlag = true;
  } else {
    state.fileSize = orlo::osdep::GetFileSize(state.registryPath);
    if (state.fileSize > 0 && state.fileSize != state.validEnd) state.resetFlag = true;
  }

  switch (classifyFileSet(state)) {
    case FileSetCase::kCompacting: repairCompacting(state); break;
    case FileSetCase::kSwitchedAway: repairSwitchedAway(state); break;
    case FileSetCase::kSwitchedAwayNoMark: repairSwitchedAwayNoMark(state); break;
    case FileSetCase::kSwitched: repairSwitched(state); break;
    case FileSetCase::kNormal: removeSwitchLeftovers(state); break;
    case FileSetCase::kNothing: break;
  }

  openRegistryFile(state);
  if (state.commitMarkNumber == 0 && state.fileSize > 0) {
    recoverValidEnd(state);
  } else if (state.fileSize == 0 && state.validEnd != 0) {
    // The file was lost: it is made again, empty, and the mark says so.
    state.resetFlag = true;
    state.validEnd = 0;
  } else if (!endsABlock(state.file, state.fileSize, state.validEnd)) {
    rebuildMark(state);
  }
  // An interrupted commit left bytes beyond the valid end; cut them off.
  if (state.fileSize > 0 && state.fileSize != state.validEnd) resizeFile(state.file, state.validEnd);
  // An empty file set gets its mark; commitmark.1 of a new one stays the
  // mark in force and takes the first commit's end in place.
  if (state.fileSize == 0) {
    const bool newSet = state.commitMarkNumber == 0;
    writeCommitMark(state, state.validEnd);
    if (newSet) state.commitMarkNumber = 0;
  }
}

}  // namespace vesk::tarnhive::store
