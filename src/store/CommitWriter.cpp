#include "store/CommitWriter.h"

#include <cstring>
#include <new>
#include <vector>

#include "store/CommitMarks.h"
#include "store/Compactor.h"
#include "store/RegistryIo.h"
#include "store/StoreGuard.h"
#include "store/WritePlan.h"
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

// The serialized size of every written bucket that is not excluded, in the
// collection's order (0 for an excluded one), asked once.
std::vector<std::uint32_t> recordSizesOf(const BucketsByName& written, const NameSet& excluded) {
  std::vector<std::uint32_t> sizes;
  sizes.reserve(written.size());
  for (const auto& [name, entry] : written) {
    sizes.push_back(excluded.count(name) ? 0 : entry.bucket->serializationSize());
  }
  return sizes;
}

void planBlock(const StoreState& state, const BucketsByName& written, const NameSet& deleted,
               const std::vector<std::uint32_t>& sizes, const NameSet& excluded,
               PendingBlock& block) {
  const auto w = static_cast<std::uint32_t>(written.size());
  const auto d = static_cast<std::uint32_t>(deleted.size());
  std::int64_t recordBytes = 0;
  std::size_t i = 0;
  for (const auto& [name, entry] : written) {
    if (!excluded.count(name)) recordBytes += std::int64_t{sizes[i]} + kRecordHeaderSize;
    ++i;
  }
  const auto previous = state.blockTable.find(state.blockCount);
  BlockDescriptor& b = block.descriptor;
  b.blockNumber = state.blockCount + 1;
  b.previousIndexOffset = previous != state.blockTable.end() ? previous->second->indexOffset : 0;
  block.layout = layoutBlock(state.validEnd, recordBytes, w, d, indexSizeOf(w, d));
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

// The block's bytes, in the order in which the literal mode writes them:
// header, index counts, each record with its entry, the deleted digests,
// the index copy, the checksum, the block start and the marker.
WritePlan buildBlock(const BucketsByName& written, const NameSet& deleted,
                     const std::vector<std::uint32_t>& sizes, const NameSet& excluded,
                     PendingBlock& block) {
  const BlockLayout& l = block.layout;
  WritePlan plan(l.start, static_cast<std::size_t>(l.end - l.start));
  plan.putI64(l.start, l.trailerOffset);
  plan.putI64(l.start + 8, l.indexOffset);
  plan.putI64(l.indexOffset, block.descriptor.previousIndexOffset);
  plan.putU32(l.indexOffset + 8, block.descriptor.entryCount);
  plan.putU32(l.indexOffset + 12, block.descriptor.deletedCount);
  std::int64_t record = l.firstRecord;
  std::int64_t entry = l.entriesOffset;
  std::uint32_t number = 0;
  std::size_t i = 0;
  for (const auto& [name, named] : written) {
    const std::uint32_t size = sizes[i++];
    if (excluded.count(name)) continue;
    IBucket& bucket = *named.bucket;
    plan.putI64(record, size);
    std::uint8_t* cursor = plan.piece(record + kRecordHeaderSize, size);
    bucket.serialize(cursor, cursor + size);
    const Digest digest = bucket.getDigest();
    plan.putDigest(entry, digest);
    plan.putI64(entry + kDigestSize, record);
    block.written[digest] = RecordLocation{block.descriptor.blockNumber, number, record,
                                           std::int64_t{size} + kRecordHeaderSize};
    record += std::int64_t{size} + kRecordHeaderSize;
    entry += kEntrySize;
    ++number;
  }
  for (const WideString& name : deleted) {
    plan.putDigest(entry, Digest(name));
    entry += kDigestSize;
  }
  // The index copy goes out as a 32-byte piece whose last 24 bytes the
  // checksum then overwrites.
  plan.putI64(entry, l.indexOffset);
  plan.piece(entry, 32);
  plan.putDigest(l.checksumOffset, plan.checksum(l.start, l.checksumOffset - 1));
  plan.putI64(l.trailerOffset, l.start);
  plan.putBytes(l.trailerOffset + 8, kBlockMarker, kMarkerSize);
  return plan;
}

void applyToIndex(StoreState& state, const BucketsByName& written, const NameSet& deleted,
                  PendingBlock& block) {
  for (const WideString& name : deleted) {
    Digest digest(name);
    state.eraseLive(digest);
    state.deletedSet.insert(std::move(digest));
  }
  state.blockCount += 1;
  state.validEnd = block.layout.end;
  state.blockTable[state.blockCount] = std::make_unique<BlockDescriptor>(block.descriptor);
  for (const auto& [name, named] : written) {
    const Digest digest = named.bucket->getDigest();
    state.eraseLive(digest);
    const auto location = block.written.find(digest);
    if (location != block.written.end()) state.putLive(digest, location->second);
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

  // Two forced writes in the common case: the block, then the mark's new
  // digits. A commit that reports a failure did not happen: its block is cut
  // off and the old end stays in force.
  PendingBlock block;
  const bool wrote = storeRun(status, [&] {
    const std::vector<std::uint32_t> sizes = recordSizesOf(written, excluded);
    planBlock(state, written, deleted, sizes, excluded, block);
    const WritePlan plan = buildBlock(written, deleted, sizes, excluded, block);
    plan.writeTo(state.file, state.flushEveryWrite);
    writeCommitMark(state, block.layout.end);
  });
  if (!wrote) {
    cutBack(state);
    return;
  }
  applyToIndex(state, written, deleted, block);
  state.announceChange();
  // Past the size limit a failed compaction is the commit's failure: the
  // registry cannot take more. One that only pays (half the file dead) is
  // tried again at a later commit when it fails, for example on Windows
  // while another process still holds the file that the last one replaced.
  if (state.validEnd > state.diskLimitBytes && state.blockCount > 0) {
    compact(state, status);
  } else if (compactionPays(state)) {
    TarnhiveStatus own;
    compact(state, &own);
  }
}

}  // namespace vesk::tarnhive::store
