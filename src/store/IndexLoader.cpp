#include "store/IndexLoader.h"

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
};

// Reads the block that ends at `end` as block `number` into `loaded`, and
// returns its start. Its index, deleted digests and trailer are read with
// one read.
std::int64_t loadBlock(StoreState& state, std::int64_t end, std::uint32_t number,
                       LoadedMaps& loaded) {
  // No block is shorter than its fixed part.
  if (end < kBlockOverhead) damaged(__LINE__);
  auto block = std::make_unique<BlockDescriptor>();
  block->blockNumber = number;
  block->trailerOffset = end - kBlockStartFromEnd;
  block->checksumOffset = end - kChecksumFromEnd;
  const std::int64_t start = readI64At(state.file, block->trailerOffset);
  if (start < 0 || start > end) damaged(__LINE__);
  block->blockStart = start;
  block->blockLength = end - start;
  block->firstRecordOffset = start + kBlockHeaderSize;
  const std::int64_t index = readI64At(state.file, start + 8);
  if (index < 0 || index > end) damaged(__LINE__);
  block->indexOffset = index;
  const FileImage image(state.file, index, end);
  block->previousIndexOffset = image.i64At(index);
  if (block->previousIndexOffset < 0 || block->previousIndexOffset > start) damaged(__LINE__);
  block->entryCount = image.u32At(index + 8);
  block->deletedCount = image.u32At(index + 12);
  const std::int64_t entries = index + kIndexHeaderSize;
  const std::int64_t deleted = entries + std::int64_t{kEntrySize} * block->entryCount;
  // An index that claims more than the block holds is damage, whatever its
  // single entries say; reading it would walk far past the block.
  if (deleted + std::int64_t{kDigestSize} * block->deletedCount > end) damaged(__LINE__);
  for (std::uint32_t i = 0; i < block->deletedCount; ++i) {
    loaded.deletedSet.insert(image.digestAt(deleted + std::int64_t{kDigestSize} * i));
  }
  for (std::uint32_t i = 0; i < block->entryCount; ++i) {
    const std::int64_t at = entries + std::int64_t{kEntrySize} * i;
    if (at < start || at > end) damaged(__LINE__);
    Digest digest = image.digestAt(at);
    const std::int64_t offset = image.i64At(at + kDigestSize);
    if (offset < start || offset > end) damaged(__LINE__);
    if (state.deletedSet.count(digest) || loaded.deletedSet.count(digest) ||
        state.liveIndex.count(digest)) {
      continue;
    }
    // A compacted block lists its entries in digest order: each goes at the end.
    loaded.liveIndex.emplace_hint(loaded.liveIndex.end(), digest,
                                  RecordLocation{number, i, offset});
  }
  block->indexOffsetCopy = image.i64At(deleted + std::int64_t{kDigestSize} * block->deletedCount);
  loaded.blockTable.emplace(number, std::move(block));
  return start;
}

}  // namespace

void loadIndex(StoreState& state) {
  state.clearIndex();
  state.blockCount = 0;
  LoadedMaps loaded;
  std::uint32_t number = 0;
  state.loadCursor = state.validEnd;
  while (state.loadCursor >= 1) {
    const std::int64_t start = loadBlock(state, state.loadCursor, number, loaded);
    // A block that does not move the cursor back would be read forever.
    if (start >= state.loadCursor) damaged(__LINE__);
    state.loadCursor = start;
    if (state.loadCursor >= 1) ++number;
  }
  state.blockCount = number;
  state.liveIndex = std::move(loaded.liveIndex);
  state.deletedSet = std::move(loaded.deletedSet);
  state.blockTable = std::move(loaded.blockTable);
  state.indexComplete = true;
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
      state.liveIndex.emplace(std::move(entry), RecordLocation{number, i, offset});
      if (found) return;
    }
    end = start;
  }
}

}  // namespace vesk::tarnhive::store
