// Opening the file set: after the commit marks are scanned, the registry
// files left by an interrupted compaction are put right, "registry.bin" is
// opened (made empty when missing), and whatever an interrupted commit wrote
// beyond the valid end is cut off.
#pragma once

#include "store/StoreState.h"

namespace vesk::tarnhive::store {

// The states the three registry files can be found in.
enum class FileSetCase {
  kNormal,            // "registry.bin" alone
  kCompacting,        // a compaction was building ".1" and had not switched
  kSwitchedAway,      // the switch stopped after moving the old file away
  kSwitchedAwayNoMark,  // as above without "newCommitmark": outside interference
  kSwitched,          // the switch had put the new file in place
  kNothing,           // nothing to repair
};

// The case of the file set as it stands on disk.
FileSetCase classifyFileSet(const StoreState& state);

// Repairs the file set and opens "registry.bin" for reading and writing. Sets
// resetFlag when the file is missing or its length differs from the valid
// end. Throws on any failure, leaving the store closed.
void openFileSet(StoreState& state);

}  // namespace vesk::tarnhive::store
