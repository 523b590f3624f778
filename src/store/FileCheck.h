// The check of "registry.bin" that the library offers its clients: where
// reads go through the indexes and never compare a checksum, the check
// walks every block from the valid end back and verifies its marker,
// start, trailer offset, checksum, index and index copy, and every record
// of every entry (superseded ones too): its length, that it decodes, and
// that its name hashes to the digest it is indexed under. Each problem is
// given with its offset in the file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/StoreState.h"
#include "vesk/orlo/RefCounted.h"
#include "vesk/tarnhive/IBucket.h"

namespace vesk::tarnhive::store {

struct FileProblem {
  std::int64_t offset;
  std::string message;  // UTF-8
};

struct FileCheck {
  std::vector<FileProblem> problems;
  std::uint32_t blocks = 0;
  // The live buckets that decode, with their records' offsets, for the
  // check of the tree.
  struct Live {
    std::int64_t recordOffset;
    orlo::RefPtr<IBucket> bucket;
  };
  std::vector<Live> live;
};

// Checks the file the store has open up to its valid end (bytes there never
// change while the file is in force, and a file replaced by a compaction
// stays readable through the open file).
FileCheck checkFile(StoreState& state);

}  // namespace vesk::tarnhive::store
