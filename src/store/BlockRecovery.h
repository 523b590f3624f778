// Finding how far "registry.bin" holds complete blocks when no commit mark
// says so (the mark was lost, or is empty). Blocks are walked from the
// start of the file: each begins with the offset of its trailer, which ends
// with the block's start and the marker, and each block's checksum must
// hold. The walk stops at the first block that does not.
#pragma once

#include <cstdint>

#include "vesk/orlo/osdep/BinaryFile.h"

namespace vesk::tarnhive::store {

// True when `end` is 0 or the end of a block of the first `fileSize` bytes:
// the trailer before it names a start whose header points back at that
// trailer. Neither the marker nor the checksum is read: this is the check
// of a commit mark at every open, which must not read a whole compacted
// file, and damage inside the block is the file check's to find.
bool endsABlock(orlo::osdep::BinaryFile& file, std::int64_t fileSize, std::int64_t end);

// The end of the last complete block of the first `fileSize` bytes of the
// file; 0 when not even the first block is complete.
std::int64_t lastCompleteBlockEnd(orlo::osdep::BinaryFile& file, std::int64_t fileSize);

}  // namespace vesk::tarnhive::store
