// Compaction: the live records of all blocks of "registry.bin" are copied,
// newest first, into "registry.bin.1" as a single block without deletions,
// and the files are switched by a sequence of renames that the next open can
// complete or undo after a crash at any step (see FileSet.h).
#pragma once

#include "store/StoreState.h"
#include "vesk/tarnhive/TarnhiveStatus.h"

namespace vesk::tarnhive::store {

// Compacts the file. Returns true when it ended by loading the index instead
// (the file was a single block already, or copying failed), false when it
// switched to the compacted file (the index is current) or did nothing (an
// empty file). Failures go into `status`. Afterwards overLimitFlag tells
// whether the file is still over its size limit.
bool compact(StoreState& state, TarnhiveStatus* status);

// True when the file holds more than one block and either has grown past
// its size limit or holds as many dead bytes (superseded and deleted
// records, the indexes of older blocks) as live ones: a compaction then
// at least halves it.
bool compactionPays(const StoreState& state) noexcept;

}  // namespace vesk::tarnhive::store
