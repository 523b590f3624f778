// Loading the index of "registry.bin": which record is the newest of each
// stored bucket, which digests the file records as deleted, and what each
// block looks like. The file is read from its valid end backwards, block by
// block, so the newest entry of a digest is met first and kept.
#pragma once

#include <vector>

#include "store/StoreState.h"

namespace vesk::tarnhive::store {

// What one commit block changed: the digests it wrote and deleted.
struct CommitDigests {
  std::vector<Digest> written;
  // For each written digest, the offset of its record in this block.
  std::vector<std::int64_t> writtenAt;
  std::vector<Digest> deleted;
  // For each deleted digest, the offset of the record the deletion hides,
  // or -1 when the index held none.
  std::vector<std::int64_t> deletedFrom;
};

// Rebuilds liveIndex, deletedSet and blockTable from the whole file, with
// one read per block for its index. Blocks are numbered backwards from 0
// (the newest); blockCount becomes the number of the oldest block, and the
// index is complete. A range check that fails throws DeserializationError
// and leaves the three maps empty.
void loadIndex(StoreState& state);

// Brings the index up to date with blocks that other processes appended
// since it was loaded: the file only grows between compactions, so the
// blocks between the valid end the index stands at and `newEnd` are read
// (only their indexes) and applied in order, and the valid end becomes
// `newEnd`. Returns what each block changed, oldest first. A block that
// fails a range check, or does not lead back to the old valid end, throws
// DeserializationError; the index may then be part-way and must be loaded
// again whole.
std::vector<CommitDigests> loadNewBlocks(StoreState& state, std::int64_t newEnd);

// Walks the blocks from the newest for `digest`, adding what it finds to
// liveIndex and deletedSet, and stops as soon as the digest is found either
// way. For lookups of digests that are in neither map while the index is
// not complete (a complete index answers "absent" at once). A deletion of a
// digest that liveIndex holds is older than the record the index names and
// is not added: a bucket deleted and made again stays readable.
void searchFile(StoreState& state, const Digest& digest);

}  // namespace vesk::tarnhive::store
