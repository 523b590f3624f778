#include "store/FileSet.h"

#include "store/CommitMarks.h"
#include "store/RegistryIo.h"
#include "vesk/orlo/osdep/GetFileSize.h"
#include "vesk/orlo/osdep/Path.h"
#include "vesk/orlo/osdep/TextFile.h"

namespace vesk::tarnhive::store {
namespace {

namespace path = orlo::osdep::path;
using orlo::osdep::BinaryFile;

void deleteIfExists(const orlo::WideString& file) {
  if (path::exists(file)) path::deleteFile(file);
}

// A compaction was building ".1": the old file and its mark still hold.
void repairCompacting(StoreState& state) {
  path::deleteFile(state.registryPath1);
  deleteIfExists(state.newMarkPath);
}

// The old file was moved to ".2" and the new one not yet put in place: finish
// the switch.
void repairSwitchedAway(StoreState& state) {
  path::rename(state.registryPath1, state.registryPath);
  path::rename(state.newMarkPath, commitMarkPath(state, 1));
  path::deleteFile(state.registryPath2);
  scanCommitMarks(state);
}

// Only reachable when something outside the store removed "newCommitmark":
// put the old file back. The deletion of the missing "newCommitmark" fails on
// purpose, so this open reports the failure and the next one finds the
// normal case.
void repairSwitchedAwayNoMark(StoreState& state) {
  path::rename(state.registryPath2, state.registryPath);
  path::deleteFile(state.registryPath1);
  path::deleteFile(state.newMarkPath);
  path::rename(state.oldMarkPath, commitMarkPath(state, 1));
  scanCommitMarks(state);
}

// The new file is in place: remove what the switch left behind.
void repairSwitched(StoreState& state) {
  deleteIfExists(state.registryPath2);
  deleteIfExists(state.oldMarkPath);
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
    case FileSetCase::kNormal:
    case FileSetCase::kNothing: break;
  }

  openRegistryFile(state);
  // An interrupted commit left bytes beyond the valid end; cut them off (or
  // extend a file that is too short with zero bytes).
  if (state.fileSize > 0 && state.fileSize != state.validEnd) resizeFile(state.file, state.validEnd);
  if (state.fileSize == 0) writeCommitMark(state, state.validEnd);
}

}  // namespace vesk::tarnhive::store
