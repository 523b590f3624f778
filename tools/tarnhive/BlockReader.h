// Commit blocks of "registry.bin", read from the valid end backwards as the
// file is laid out: every block ends with its checksum, its start and the
// marker, so each block's end leads to its start and so to the block before
// it. The reader checks every field it reads and reports what does not hold,
// with the file offset, instead of trusting it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::tarnhive::tool {

struct Problem {
  std::uint64_t offset;
  std::string message;
};

struct IndexEntry {
  std::string digest;  // 32 bytes
  std::uint64_t recordOffset;
};

struct Block {
  std::uint64_t start = 0;
  std::uint64_t end = 0;
  std::uint64_t indexOffset = 0;
  std::uint64_t previousIndexOffset = 0;
  std::vector<IndexEntry> entries;
  std::vector<std::string> deleted;  // digests, 32 bytes each
};

// The blocks of `file` (the bytes up to the valid end), oldest first. Every
// check that fails is added to `problems`; a block whose start cannot be
// trusted ends the walk, as nothing before it can be found.
std::vector<Block> readBlocks(std::string_view file, std::vector<Problem>& problems);

// The same for the blocks that end after `from` (a block end), oldest
// first.
std::vector<Block> readBlocksAfter(std::string_view file, std::uint64_t from,
                                   std::vector<Problem>& problems);

// A record's bucket bytes, or an empty view (with a problem) when its
// length does not fit the block's record area.
std::string_view recordAt(std::string_view file, const Block& block, const IndexEntry& entry,
                          std::vector<Problem>& problems);

// Digest to record offset of every bucket the blocks hold: the newest entry
// of a digest wins and a deletion hides every older entry.
std::map<std::string, const IndexEntry*> liveEntries(const std::vector<Block>& blocks);

// SHA-256 of `bytes`, 32 bytes.
std::string sha256(std::string_view bytes);

}  // namespace vesk::tarnhive::tool
