// Reading and checking commit blocks. A block that starts at S with w index
// entries and d deleted digests is laid out as
//
//   S: T (offset of the block-start field), S+8: I (index offset),
//   S+16: records (8-byte length, then the bucket's bytes) up to I,
//   I: previous index offset, I+8: w, I+12: d, I+16: 40-byte entries,
//   then 32-byte deleted digests, E: I again, X = E+8: SHA-256 of [S, X-1),
//   T = X+32: S, T+8: "@@@@SFBSMARK@@@@", end = T+24.
#include "BlockReader.h"

#include <openssl/evp.h>

#include <algorithm>
#include <set>

namespace vesk::tarnhive::tool {
namespace {

constexpr std::string_view kMarker = "@@@@SFBSMARK@@@@";
constexpr std::uint64_t kTrailerSize = 56;     // checksum, block start, marker
constexpr std::uint64_t kSmallestBlock = 96;   // no records, no entries

std::uint64_t u64At(std::string_view file, std::uint64_t offset) {
  std::uint64_t value = 0;
  for (int i = 7; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(file[offset + i]);
  return value;
}

std::uint32_t u32At(std::string_view file, std::uint64_t offset) {
  std::uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(file[offset + i]);
  return value;
}

// Reads the block ending at `end`; false when its start cannot be trusted.
bool readBlock(std::string_view file, std::uint64_t end, Block& block,
               std::vector<Problem>& problems) {
  const auto problem = [&](std::uint64_t offset, std::string message) {
    problems.push_back({offset, std::move(message)});
  };
  if (end < kSmallestBlock) {
    problem(0, "the " + std::to_string(end) + " bytes before offset " + std::to_string(end) +
                   " are too few for a block");
    return false;
  }
  const std::uint64_t trailer = end - 24;
  if (file.substr(end - 16, 16) != kMarker) problem(end - 16, "the block marker is wrong");
  const std::uint64_t start = u64At(file, trailer);
  if (start > end - kSmallestBlock) {
    problem(trailer, "the block start " + std::to_string(start) + " is out of range");
    return false;
  }
  block.start = start;
  block.end = end;
  if (u64At(file, start) != trailer) {
    problem(start, "the block's trailer offset is not " + std::to_string(trailer));
  }
  const std::uint64_t checksumAt = end - kTrailerSize;
  const std::uint64_t indexEnd = checksumAt - 8;
  if (sha256(file.substr(start, checksumAt - 1 - start)) != file.substr(checksumAt, 32)) {
    problem(checksumAt, "the block's checksum does not match its bytes");
  }
  const std::uint64_t index = u64At(file, start + 8);
  if (index < start + 16 || index + 16 > indexEnd) {
    problem(start + 8, "the index offset " + std::to_string(index) + " is out of range");
    return true;
  }
  block.indexOffset = index;
  block.previousIndexOffset = u64At(file, index);
  if (block.previousIndexOffset > start) {
    problem(index, "the previous index offset " + std::to_string(block.previousIndexOffset) +
                       " lies after the block's start");
  }
  const std::uint64_t written = u32At(file, index + 8);
  const std::uint64_t deleted = u32At(file, index + 12);
  if (index + 16 + 40 * written + 32 * deleted != indexEnd) {
    problem(index + 8, "the index counts (" + std::to_string(written) + " entries, " +
                           std::to_string(deleted) + " deletions) do not fill the index");
    return true;
  }
  if (u64At(file, indexEnd) != index) problem(indexEnd, "the copy of the index offset differs");
  for (std::uint64_t i = 0; i < written; ++i) {
    const std::uint64_t at = index + 16 + 40 * i;
    const IndexEntry entry{std::string(file.substr(at, 32)), u64At(file, at + 32)};
    if (entry.recordOffset < start + 16 || entry.recordOffset + 8 > index) {
      problem(at + 32, "the record offset " + std::to_string(entry.recordOffset) + " is out of range");
      continue;
    }
    block.entries.push_back(entry);
  }
  for (std::uint64_t i = 0; i < deleted; ++i) {
    block.deleted.emplace_back(file.substr(index + 16 + 40 * written + 32 * i, 32));
  }
  return true;
}

}  // namespace

std::vector<Block> readBlocksAfter(std::string_view file, std::uint64_t from,
                                   std::vector<Problem>& problems) {
  std::vector<Block> blocks;
  std::uint64_t end = file.size();
  while (end > from) {
    Block block;
    if (!readBlock(file, end, block, problems)) break;
    if (block.start < from) {
      problems.push_back({end - 24, "the block that ends at " + std::to_string(end) +
                                        " starts before offset " + std::to_string(from)});
      break;
    }
    end = block.start;
    blocks.push_back(std::move(block));
  }
  std::reverse(blocks.begin(), blocks.end());
  return blocks;
}

std::vector<Block> readBlocks(std::string_view file, std::vector<Problem>& problems) {
  return readBlocksAfter(file, 0, problems);
}

std::string_view recordAt(std::string_view file, const Block& block, const IndexEntry& entry,
                          std::vector<Problem>& problems) {
  const std::uint64_t length = u64At(file, entry.recordOffset);
  if (length == 0 || length > block.indexOffset - entry.recordOffset - 8) {
    problems.push_back({entry.recordOffset, "the record length " + std::to_string(length) +
                                                " does not fit the block's records"});
    return {};
  }
  return file.substr(entry.recordOffset + 8, length);
}

std::map<std::string, const IndexEntry*> liveEntries(const std::vector<Block>& blocks) {
  std::map<std::string, const IndexEntry*> live;
  std::set<std::string> hidden;
  for (auto block = blocks.rbegin(); block != blocks.rend(); ++block) {
    const std::set<std::string> deletedHere(block->deleted.begin(), block->deleted.end());
    for (const IndexEntry& entry : block->entries) {
      if (!hidden.count(entry.digest) && !deletedHere.count(entry.digest)) {
        live.emplace(entry.digest, &entry);
      }
    }
    for (const std::string& digest : block->deleted) {
      if (!live.count(digest)) hidden.insert(digest);
    }
    for (const IndexEntry& entry : block->entries) hidden.insert(entry.digest);
  }
  return live;
}

std::string sha256(std::string_view bytes) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr);
  return std::string(reinterpret_cast<const char*>(digest), length);
}

}  // namespace vesk::tarnhive::tool
