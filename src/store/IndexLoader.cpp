#include "store/IndexLoader.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "store/FileImage.h"
#include "store/RegistryIo.h"
#include "vesk/orlo/Exception.h"

namespace vesk::tarnhive::store {
namespace {

constexpr char kSource[] = "vesk/tarnhive/store/IndexLoader";

[[noreturn]] void damaged(std::uint32_t line) {
  orlo::exception::raise(orlo::exception::DeserializationError(), kSource, line);
}

struct LoadedMaps {
  LiveIndex liveIndex;
  DeletedSet deletedSet;
  BlockTable blockTable;
  std::int64_t liveBytes = 0;
};

// One block's index as it stands in the file.
struct BlockIndex {
  std::unique_ptr<BlockDescriptor> descriptor;
  // Digest and location of every entry, in entry order, with the bytes
  // of each record: records lie back to back, so a record ends where the
  // next one in the file starts, or at the index.
  std::vector<std::pair<Digest, RecordLocation>> entries;
  std::vector<Digest> deleted;
};

// Reads and range-checks the block that ends at `end` as block `number`,
// from `whole` when it holds the file, else with one read for its index,
// deleted digests and trailer.
BlockIndex readBlock(StoreState& state, const FileImage* whole, std::int64_t end,
                     std::uint32_t number) {
  // No block is shorter than its fixed part.
  if (end < kBlockOverhead) damaged(__LINE__);
  BlockIndex read;
  read.descriptor = std::make_unique<BlockDescriptor>();
  BlockDescriptor& block = *read.descriptor;
  block.blockNumber = number;
  block.trailerOffset = end - kBlockStartFromEnd;
  block.checksumOffset = end - kChecksumFromEnd;
  const auto i64At = [&](std::int64_t at) {
    return whole != nullptr ? whole->i64At(at) : readI64At(state.file, at);
  };
  const std::int64_t start = i64At(block.trailerOffset);
  if (start < 0 || start > end) damaged(__LINE__);
  block.blockStart = start;
  block.blockLength = end - start;
  block.firstRecordOffset = start + kBlockHeaderSize;
  const std::int64_t index = i64At(start + 8);
  if (index < 0 || index > end) damaged(__LINE__);
  block.indexOffset = index;
  const FileImage indexBytes = whole != nullptr ? FileImage() : FileImage(state.file, index, end);
  const FileImage& image = whole != nullptr ? *whole : indexBytes;
  block.previousIndexOffset = image.i64At(index);
  if (block.previousIndexOffset < 0 || block.previousIndexOffset > start) damaged(__LINE__);
  block.entryCount = image.u32At(index + 8);
  block.deletedCount = image.u32At(index + 12);
  const std::int64_t entries = index + kIndexHeaderSize;
  const std::int64_t deleted = entries + std::int64_t{kEntrySize} * block.entryCount;
  // An index that claims more than the block holds is damage, whatever its
  // single entries say; reading it would walk far past the block.
  if (deleted + std::int64_t{kDigestSize} * block.deletedCount > end) damaged(__LINE__);
  read.deleted.reserve(block.deletedCount);
  for (std::uint32_t i = 0; i < block.deletedCount; ++i) {
    read.deleted.push_back(image.digestAt(deleted + std::int64_t{kDigestSize} * i));
  }
  read.entries.reserve(block.entryCount);
  std::vector<std::int64_t> offsets;
  offsets.reserve(block.entryCount);
  for (std::uint32_t i = 0; i < block.entryCount; ++i) {
    const std::int64_t at = entries + std::int64_t{kEntrySize} * i;
    if (at < start || at > end) damaged(__LINE__);
    const std::int64_t offset = image.i64At(at + kDigestSize);
    if (offset < start || offset > end) damaged(__LINE__);
    read.entries.emplace_back(image.digestAt(at), RecordLocation{number, i, offset});
    offsets.push_back(offset);
  }
  std::sort(offsets.begin(), offsets.end());
  for (auto& [digest, location] : read.entries) {
    const auto next = std::upper_bound(offsets.begin(), offsets.end(), location.recordOffset);
    const std::int64_t recordEnd = next == offsets.end() ? index : *next;
    location.recordBytes = std::max<std::int64_t>(recordEnd - location.recordOffset, 0);
  }
  block.indexOffsetCopy = image.i64At(deleted + std::int64_t{kDigestSize} * block.deletedCount);
  return read;
}

// Reads the block that ends at `end` as block `number` into `loaded`, and
// returns its start. Blocks are read newest first: an entry counts unless a
// newer block (or this one) deleted or wrote its digest, and a deletion
// counts unless a newer block wrote the digest again.
std::int64_t loadBlock(StoreState& state, const FileImage* whole, std::int64_t end,
                       std::uint32_t number, LoadedMaps& loaded) {
  BlockIndex read = readBlock(state, whole, end, number);
  for (Digest& gone : read.deleted) {
    if (!loaded.liveIndex.count(gone)) loaded.deletedSet.insert(std::move(gone));
  }
  for (auto& [digest, location] : read.entries) {
    if (!loaded.deletedSet.empty() && loaded.deletedSet.count(digest)) continue;
    // A compacted block lists its entries in digest order: each goes at the
    // end. Otherwise one look-up finds a newer entry or the place for this.
    auto place = loaded.liveIndex.end();
    if (!loaded.liveIndex.empty() && !(std::prev(place)->first < digest)) {
      place = loaded.liveIndex.lower_bound(digest);
      if (place != loaded.liveIndex.end() && place->first == digest) continue;
    }
    loaded.liveBytes += location.recordBytes + kEntrySize;
    loaded.liveIndex.emplace_hint(place, std::move(digest), location);
  }
  const std::int64_t start = read.descriptor->blockStart;
  loaded.blockTable.emplace(number, std::move(read.descriptor));
  return start;
}

}  // namespace

void loadIndex(StoreState& state) {
  state.clearIndex();
  state.blockCount = 0;
  LoadedMaps loaded;
  std::uint32_t number = 0;
  state.loadCursor = state.validEnd;
  // A small file of several blocks is read with one read rather than a few
  // per block; a larger one block by block, its indexes only, as the
  // records of its blocks (parents rewritten whole at every commit) may be
  // many times the size of their indexes.
  constexpr std::int64_t kWholeFileLimit = std::int64_t{1} << 20;
  std::unique_ptr<FileImage> whole;
  if (state.validEnd >= kBlockOverhead && state.validEnd <= kWholeFileLimit &&
      readI64At(state.file, state.validEnd - kBlockStartFromEnd) > 0) {
    whole = std::make_unique<FileImage>(state.file, 0, state.validEnd);
  }
  while (state.loadCursor >= 1) {
    const std::int64_t start = loadBlock(state, whole.get(), state.loadCursor, number, loaded);
    // A block that does not move the cursor back would be read forever.
    if (start >= state.loadCursor) damaged(__LINE__);
    state.loadCursor = start;
    if (state.loadCursor >= 1) ++number;
  }
  state.blockCount = number;
  state.liveIndex = std::move(loaded.liveIndex);
  state.deletedSet = std::move(loaded.deletedSet);
  state.blockTable = std::move(loaded.blockTable);
  state.liveBytes = loaded.liveBytes;
  state.indexComplete = true;
}

std::vector<CommitDigests> loadNewBlocks(StoreState& state, std::int64_t newEnd) {
  // Read newest first, back to the valid end the index stands at; a block
  // that starts anywhere else does not follow the ones known.
  std::vector<BlockIndex> blocks;
  for (std::int64_t end = newEnd; end > state.validEnd;) {
    BlockIndex read = readBlock(state, nullptr, end, 0);
    const std::int64_t start = read.descriptor->blockStart;
    if (start >= end || start < state.validEnd) damaged(__LINE__);
    blocks.push_back(std::move(read));
    end = start;
  }
  // Applied oldest first, numbered on from the newest block known, as
  // commits number the blocks they append.
  std::vector<CommitDigests> commits;
  commits.reserve(blocks.size());
  for (auto block = blocks.rbegin(); block != blocks.rend(); ++block) {
    const std::uint32_t number = state.blockCount + 1;
    CommitDigests& commit = commits.emplace_back();
    // A digest both written and deleted by one block counts as deleted.
    const std::set<Digest> gone(block->deleted.begin(), block->deleted.end());
    for (auto& [digest, location] : block->entries) {
      if (gone.count(digest)) continue;
      location.blockNumber = number;
      state.deletedSet.erase(digest);
      state.putLive(digest, location);
      commit.written.push_back(digest);
      commit.writtenAt.push_back(location.recordOffset);
    }
    for (const Digest& digest : gone) {
      const auto hidden = state.liveIndex.find(digest);
      commit.deletedFrom.push_back(hidden == state.liveIndex.end() ? -1
                                                                   : hidden->second.recordOffset);
      state.eraseLive(digest);
      state.deletedSet.insert(digest);
      commit.deleted.push_back(digest);
    }
    block->descriptor->blockNumber = number;
    state.blockTable[number] = std::move(block->descriptor);
    state.blockCount = number;
  }
  state.validEnd = newEnd;
  return commits;
}

void searchFile(StoreState& state, const Digest& digest) {
  std::uint32_t number = 0;
  for (std::int64_t end = state.validEnd; end >= 1; ++number) {
    const std::int64_t start = readI64At(state.file, end - kBlockStartFromEnd);
    const std::int64_t index = readI64At(state.file, start + 8);
    const std::uint32_t entryCount = readU32At(state.file, index + 8);
    const std::uint32_t deletedCount = readU32At(state.file, index + 12);
    const std::int64_t entries = index + kIndexHeaderSize;
    const std::int64_t deleted = entries + std::int64_t{kEntrySize} * entryCount;
    // Not range-checked like a load, but a damaged block must not make the
    // walk run on forever or far beyond the file.
    if (end < kBlockOverhead || start < 0 || start >= end || index < start ||
        deleted + std::int64_t{kDigestSize} * deletedCount > end) {
      return;
    }
    for (std::uint32_t i = 0; i < deletedCount; ++i) {
      Digest gone = readDigestAt(state.file, deleted + std::int64_t{kDigestSize} * i);
      const bool found = gone == digest;
      // A digest that the index holds was written again after this older
      // deletion: the deletion no longer counts.
      if (!state.liveIndex.count(gone)) state.deletedSet.insert(std::move(gone));
      if (found) return;
    }
    for (std::uint32_t i = 0; i < entryCount; ++i) {
      const std::int64_t at = entries + std::int64_t{kEntrySize} * i;
      Digest entry = readDigestAt(state.file, at);
      if (state.deletedSet.count(entry) || state.liveIndex.count(entry)) continue;
      const std::int64_t offset = readI64At(state.file, at + kDigestSize);
      const bool found = entry == digest;
      state.putLive(entry, RecordLocation{number, i, offset});
      if (found) return;
    }
    end = start;
  }
}

}  // namespace vesk::tarnhive::store
