#include "store/CommitWriter.h"

#include <cstring>
#include <new>
#include <vector>

#include "store/CommitMarks.h"
#include "store/Compactor.h"
#include "store/RegistryIo.h"
#include "store/StoreGuard.h"
#include "vesk/orlo/BadAllocation.h"

namespace vesk::tarnhive::store {
namespace {

using orlo::WideString;

// One commit in progress: the block's layout and where its records went.
struct PendingBlock {
  BlockDescriptor descriptor;
  BlockLayout layout;
  std::map<Digest, RecordLocation> written;
};

std::int64_t recordBytesOf(const BucketsByName& written, const NameSet& excluded) {
  std::int64_t total = 0;
  for (const auto& [name, entry] : written) {
    if (excluded.count(name)) continue;
    total += std::int64_t{entry.bucket->serializationSize()} + kRecordHeaderSize;
  }
  return total;
}

void planBlock(const StoreState& state, const BucketsByName& written, const NameSet& deleted,
               const NameSet& excluded, PendingBlock& block) {
  const auto w = static_cast<std::uint32_t>(written.size());
  const auto d = static_cast<std::uint32_t>(deleted.size());
  const auto previous = state.blockTable.find(state.blockCount);
  BlockDescriptor& b = block.descriptor;
  b.blockNumber = state.blockCount + 1;
  b.previousIndexOffset = previous != state.blockTable.end() ? previous->second->indexOffset : 0;
  block.layout = layoutBlock(state.validEnd, recordBytesOf(written, excluded), w, d,
                             indexSizeOf(w, d));
  b.blockStart = block.layout.start;
  b.firstRecordOffset = block.layout.firstRecord;
  b.indexOffset = block.layout.indexOffset;
  b.checksumOffset = block.layout.checksumOffset;
  b.trailerOffset = block.layout.trailerOffset;
  b.blockLength = block.layout.end - block.layout.start;
  b.entryCount = w;
  b.deletedCount = d;
  b.indexOffsetCopy = block.layout.indexOffset;
}

void writeHeader(StoreState& state, const PendingBlock& block) {
  const BlockLayout& l = block.layout;
  resizeFile(state.file, l.end);
  writeI64At(state.file, l.start, l.trailerOffset);
  writeI64At(state.file, l.start + 8, l.indexOffset);
  writeI64At(state.file, l.indexOffset, block.descriptor.previousIndexOffset);
  writeU32At(state.file, l.indexOffset + 8, block.descriptor.entryCount);
  writeU32At(state.file, l.indexOffset + 12, block.descriptor.deletedCount);
}

// Writes the records and their index entries; returns where the deleted
// digests go.
std::int64_t writeRecords(StoreState& state, const BucketsByName& written,
                          const NameSet& excluded, PendingBlock& block) {
  std::int64_t record = block.layout.firstRecord;
  std::int64_t entry = block.layout.entriesOffset;
  std::uint32_t number = 0;
  std::vector<std::uint8_t> bytes;
  for (const auto& [name, named] : written) {
    if (excluded.count(name)) continue;
    IBucket& bucket = *named.bucket;
    const std::uint32_t size = bucket.serializationSize();
    writeI64At(state.file, record, size);
    bytes.assign(size, 0);
    std::uint8_t* cursor = bytes.data();
    bucket.serialize(cursor, bytes.data() + bytes.size());
    writeAt(state.file, record + kRecordHeaderSize, bytes.data(), bytes.size());
    const Digest digest = bucket.getDigest();
    writeDigestAt(state.file, entry, digest);
    writeI64At(state.file, entry + kDigestSize, record);
    block.written[digest] = RecordLocation{block.descriptor.blockNumber, number, record};
    record += std::int64_t{size} + kRecordHeaderSize;
    entry += kEntrySize;
    ++number;
  }
  return entry;
}

void writeIndexAndTrailer(StoreState& state, const NameSet& deleted, std::int64_t at,
                          const PendingBlock& block) {
  for (const WideString& name : deleted) {
    writeDigestAt(state.file, at, Digest(name));
    at += kDigestSize;
  }
  // The index copy goes out as a 32-byte write whose last 24 bytes the
  // checksum then overwrites.
  std::uint8_t copy[32] = {};
  const auto index = static_cast<std::uint64_t>(block.layout.indexOffset);
  for (int i = 0; i < 8; ++i) copy[i] = static_cast<std::uint8_t>(index >> (8 * i));
  writeAt(state.file, at, copy, sizeof copy);
  const BlockLayout& l = block.layout;
  writeDigestAt(state.file, l.checksumOffset, checksumOf(state.file, l.start, l.checksumOffset - 1));
  writeI64At(state.file, l.trailerOffset, l.start);
  writeAt(state.file, l.trailerOffset + 8, kBlockMarker, kMarkerSize);
}

void applyToIndex(StoreState& state, const BucketsByName& written, const NameSet& deleted,
                  PendingBlock& block) {
  for (const WideString& name : deleted) {
    Digest digest(name);
    state.liveIndex.erase(digest);
    state.deletedSet.insert(std::move(digest));
  }
  state.blockCount += 1;
  state.commitMarkNumber = nextCommitMarkNumber(state.commitMarkNumber);
  state.validEnd = block.layout.end;
  state.blockTable[state.blockCount] = std::make_unique<BlockDescriptor>(block.descriptor);
  for (const auto& [name, named] : written) {
    const Digest digest = named.bucket->getDigest();
    state.liveIndex.erase(digest);
    const auto location = block.written.find(digest);
    if (location != block.written.end()) state.liveIndex.emplace(digest, location->second);
  }
}

// Cuts off what a failed commit wrote beyond the valid end. Failing that too,
// the next open cuts it.
void cutBack(StoreState& state) noexcept {
  try {
    resizeFile(state.file, state.validEnd);
  } catch (...) {
  }
}

}  // namespace

void commitBlock(StoreState& state, const BucketsByName& written, const NameSet& deleted,
                 TarnhiveStatus* status) {
  // A bucket both written and deleted in one commit is not written; callers
  // never hand the store such a pair, but its entry would be counted all
  // the same and leave zero bytes before the index copy.
  NameSet excluded;
  for (const WideString& name : deleted) {
    if (written.count(name)) excluded.insert(name);
  }
  for (const auto& [name, named] : written) state.deletedSet.erase(Digest(name));

  PendingBlock block;
  planBlock(state, written, deleted, excluded, block);
  bool markInForce = false;
  const bool wrote = storeRun(status, [&] {
    writeHeader(state, block);
    const std::int64_t deletedAt = writeRecords(state, written, excluded, block);
    writeIndexAndTrailer(state, deleted, deletedAt, block);
    writeCommitMark(state, block.layout.end, &markInForce);
  });
  if (!wrote && !markInForce) {
    cutBack(state);
    return;
  }
  // With the new mark in force the block counts on disk, so the index
  // follows it even when the removal of the old mark failed.
  applyToIndex(state, written, deleted, block);
  if (!wrote) return;
  if (state.validEnd > state.diskLimitBytes && state.blockCount > 0) compact(state, status);
}

}  // namespace vesk::tarnhive::store
