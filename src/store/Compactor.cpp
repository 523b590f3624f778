#include "store/Compactor.h"

#include <vector>

#include "store/CommitMarks.h"
#include "store/FileImage.h"
#include "store/IndexLoader.h"
#include "store/RegistryIo.h"
#include "store/StoreGuard.h"
#include "store/WritePlan.h"
#include "vesk/orlo/Exception.h"
#include "vesk/orlo/osdep/Path.h"
#include "vesk/orlo/osdep/TextFile.h"

namespace vesk::tarnhive::store {
namespace {

namespace path = orlo::osdep::path;
using orlo::osdep::BinaryFile;

constexpr char kSource[] = "vesk/tarnhive/store/Compactor";

[[noreturn]] void damaged(std::uint32_t line) {
  orlo::exception::raise(orlo::exception::DeserializationError(), kSource, line);
}

// The compacted file being built: its bytes are planned in memory and
// written when the block is complete.
struct Output {
  BinaryFile file;
  WritePlan plan{0, kBlockHeaderSize};
  std::int64_t position = kBlockHeaderSize;
  LiveIndex liveIndex;   // digest -> {0, entry, offset in the new file}
  DeletedSet deletedSet;
};

// The new file replaces "registry.bin" and takes its permissions, so that a
// registry shared between users stays shared whoever compacts it.
void startOutput(StoreState& state, Output& out) {
  if (path::entryExists(state.registryPath1)) path::deleteFile(state.registryPath1);
  orlo::osdep::TextFile create;
  create.open(state.registryPath1, orlo::osdep::TextFile::kAPPEND);
  create.close();
  out.file.open(state.registryPath1,
                BinaryFile::kCREATE | BinaryFile::kTRUNCATE | BinaryFile::kREADWRITE);
  out.file.setPermissions(path::permissionsOf(state.registryPath));
  out.plan.piece(0, kBlockHeaderSize);
  // The live records fit in what the file holds. Sized once, the buffer is
  // not copied as it grows, and each of its pages is touched once.
  out.plan.reserve(static_cast<std::size_t>(state.validEnd));
}

// Copies the live records of the block that ends at `end` and returns its
// start; returns -1 when the file is a single block and needs no rewrite.
// The block is read with one read.
// Where the block that ends at `end` starts, and its index, after the range
// checks of both.
struct BlockBounds {
  std::int64_t start;
  std::int64_t index;
};

BlockBounds boundsOf(StoreState& state, std::int64_t end) {
  const std::int64_t validEnd = state.validEnd;
  if (end > validEnd || end < kBlockOverhead) damaged(__LINE__);
  const std::int64_t start = readI64At(state.file, end - kBlockStartFromEnd);
  if (start < 0 || start > validEnd) damaged(__LINE__);
  const std::int64_t index = readI64At(state.file, start + 8);
  if (index < 0 || index > validEnd) damaged(__LINE__);
  return {start, index};
}

std::int64_t copyBlock(StoreState& state, std::int64_t end, Output& out) {
  const std::int64_t validEnd = state.validEnd;
  const auto [start, index] = boundsOf(state, end);
  if (start == 0 && end == validEnd) return -1;
  if (start >= end) damaged(__LINE__);
  const FileImage block(state.file, start, end);
  const std::int64_t previous = block.i64At(index);
  if (previous < 0 || previous > validEnd) damaged(__LINE__);
  const std::uint32_t entryCount = block.u32At(index + 8);
  const std::uint32_t deletedCount = block.u32At(index + 12);
  const std::int64_t entries = index + kIndexHeaderSize;
  const std::int64_t deleted = entries + std::int64_t{kEntrySize} * entryCount;
  if (deleted + std::int64_t{kDigestSize} * deletedCount > end) damaged(__LINE__);
  for (std::uint32_t i = 0; i < deletedCount; ++i) {
    Digest gone = block.digestAt(deleted + std::int64_t{kDigestSize} * i);
    if (!out.liveIndex.count(gone)) out.deletedSet.insert(std::move(gone));
  }
  for (std::uint32_t i = 0; i < entryCount; ++i) {
    const std::int64_t at = entries + std::int64_t{kEntrySize} * i;
    if (at < start || at > end) damaged(__LINE__);
    Digest digest = block.digestAt(at);
    const std::int64_t offset = block.i64At(at + kDigestSize);
    if (offset < start || offset > end) damaged(__LINE__);
    if (out.deletedSet.count(digest) || out.liveIndex.count(digest)) continue;
    const std::int64_t length = block.i64At(offset);
    if (length <= 0) continue;  // an empty record is dropped
    const std::uint8_t* bytes = block.bytesAt(offset + kRecordHeaderSize, length);
    if (bytes == nullptr) damaged(__LINE__);
    out.plan.putI64(out.position, length);
    out.plan.putBytes(out.position + kRecordHeaderSize, bytes, static_cast<std::size_t>(length));
    out.liveIndex.emplace_hint(out.liveIndex.end(), std::move(digest),
                               RecordLocation{0, i, out.position, length + kRecordHeaderSize});
    out.position += length + kRecordHeaderSize;
  }
  return start;
}

// Plans the index and trailer of the compacted block, writes the file and
// flushes it; returns its end.
std::int64_t finishOutput(const StoreState& state, Output& out) {
  const auto count = static_cast<std::uint32_t>(out.liveIndex.size());
  const BlockLayout l = layoutBlock(0, out.position - kBlockHeaderSize, count, 0,
                                    indexSizeOf(count, 0));
  WritePlan& plan = out.plan;
  plan.putI64(0, l.trailerOffset);
  plan.putI64(8, l.indexOffset);
  plan.putI64(l.indexOffset, 0);
  plan.putU32(l.indexOffset + 8, count);
  plan.putU32(l.indexOffset + 12, 0);
  std::int64_t entry = l.entriesOffset;
  for (const auto& [digest, location] : out.liveIndex) {
    plan.putDigest(entry, digest);
    plan.putI64(entry + kDigestSize, location.recordOffset);
    entry += kEntrySize;
  }
  plan.putI64(l.indexCopyOffset, l.indexOffset);
  plan.putDigest(l.checksumOffset, plan.checksum(0, l.checksumOffset - 1));
  plan.putI64(l.trailerOffset, 0);
  plan.putBytes(l.trailerOffset + 8, kBlockMarker, kMarkerSize);
  plan.writeTo(out.file, state.flushEveryWrite);
  out.file.close();
  return l.end;
}

// Takes back the first `done` renames of a switch that failed, newest
// first, so that the old file and its mark are in force again. Best effort:
// what cannot be taken back is repaired by the next open.
void undoSwitch(StoreState& state, int done) noexcept {
  TarnhiveStatus ignored;
  const orlo::WideString mark = commitMarkPath(state, state.commitMarkNumber);
  if (done >= 3) storeRun(&ignored, [&] { path::rename(state.registryPath, state.registryPath1); });
  if (done >= 2) storeRun(&ignored, [&] { path::rename(state.oldMarkPath, mark); });
  if (done >= 1) storeRun(&ignored, [&] { path::rename(state.registryPath2, state.registryPath); });
  storeRun(&ignored, [&] { state.file.open(state.registryPath, BinaryFile::kREADWRITE); });
}

// Puts the compacted file in place. A crash between any two steps is
// repaired by the next open; a failed rename in a living process is taken
// back at once. Once the renames are done the new file is in force.
//
// The directory is forced between the renames whose order matters, since
// a file system may keep renames that no sync separates in any order: the
// compacted file must not take the name "registry.bin" before the old one
// left it (the open would take the compacted file for the old one, and its
// mark for a left-over), and the new mark must not take the name
// commitmark.1 before the old file and every old mark are gone from their
// names.
void switchFiles(StoreState& state) {
  int done = 0;
  try {
    state.file.close();
    path::rename(state.registryPath, state.registryPath2);
    done = 1;
    path::rename(commitMarkPath(state, state.commitMarkNumber), state.oldMarkPath);
    done = 2;
    path::syncDirectory(state.directory);
    path::rename(state.registryPath1, state.registryPath);
    done = 3;
    path::syncDirectory(state.directory);
    path::rename(state.newMarkPath, commitMarkPath(state, 1));
    done = 4;
    path::syncDirectory(state.directory);
  } catch (...) {
    // Once the new mark is in place the switch stands, whether or not its
    // renames have reached the disk yet.
    if (done == 4) return;
    undoSwitch(state, done);
    throw;
  }
  // The compacted file and its mark are in force. The old file and mark are
  // left-overs: should they stay, the next open removes them.
  path::deleteFile(state.registryPath2, true);
  path::deleteFile(state.oldMarkPath, true);
}

// The descriptor of the compacted block.
std::unique_ptr<BlockDescriptor> describeCompacted(const Output& out) {
  const auto count = static_cast<std::uint32_t>(out.liveIndex.size());
  const BlockLayout l = layoutBlock(0, out.position - kBlockHeaderSize, count, 0,
                                    indexSizeOf(count, 0));
  auto block = std::make_unique<BlockDescriptor>();
  block->blockNumber = 0;
  block->trailerOffset = l.trailerOffset;
  block->indexOffset = l.indexOffset;
  block->firstRecordOffset = l.firstRecord;
  block->checksumOffset = l.checksumOffset;
  block->blockLength = l.end;
  block->entryCount = count;
  block->indexOffsetCopy = l.indexOffset;
  return block;
}

// Takes the index of the file that was put in place and opens it. Should
// either fail, the file set on disk is still complete: the store opens the
// file and loads its index before its next use.
void adoptCompacted(StoreState& state, Output& out, std::int64_t end, TarnhiveStatus* status) {
  const std::uint32_t oldBlockCount = state.blockCount;
  state.validEnd = end;
  state.fileSize = end;
  state.commitMarkNumber = 1;
  state.blockCount = 0;
  state.indexStale = true;
  storeRun(status, [&] {
    LiveIndex liveIndex;
    std::uint32_t rank = 0;
    std::int64_t liveBytes = 0;
    for (const auto& [digest, location] : out.liveIndex) {
      liveIndex.emplace_hint(liveIndex.end(), digest,
                             RecordLocation{0, rank++, location.recordOffset, location.recordBytes});
      liveBytes += location.recordBytes + kEntrySize;
    }
    BlockTable blockTable;
    blockTable.emplace(oldBlockCount, describeCompacted(out));
    state.liveIndex.swap(liveIndex);
    state.liveBytes = liveBytes;
    state.blockTable.swap(blockTable);
    state.indexStale = false;
    state.indexComplete = true;
  });
  storeRun(status, [&] { state.file.open(state.registryPath, BinaryFile::kREADWRITE); });
}

// Gives up on the compaction: the old file stays in force and its index is
// loaded again.
void abandon(StoreState& state, Output& out, TarnhiveStatus* status) {
  out.file.close();
  TarnhiveStatus ignored;
  storeRun(&ignored, [&] {
    if (path::exists(state.registryPath1)) path::deleteFile(state.registryPath1);
  });
  storeRun(status, [&] { loadIndex(state); });
}

}  // namespace

bool compact(StoreState& state, TarnhiveStatus* status) {
  if (state.validEnd == 0) return false;
  Output out;
  bool singleBlock = false;
  // A single block needs no rewrite: no new file is made for it.
  const bool copied = storeRun(status, [&] {
    if (boundsOf(state, state.validEnd).start == 0) {
      singleBlock = true;
      return;
    }
    startOutput(state, out);
    for (std::int64_t end = state.validEnd; end >= 1;) {
      const std::int64_t start = copyBlock(state, end, out);
      if (start < 0) {
        singleBlock = true;
        return;
      }
      if (start >= end) damaged(__LINE__);
      end = start;
    }
  });
  if (!copied || singleBlock) {
    abandon(state, out, status);
    state.overLimitFlag = state.validEnd > state.diskLimitBytes;
    return true;
  }
  std::int64_t end = 0;
  const bool finished = storeRun(status, [&] {
    end = finishOutput(state, out);
    writeNewMarkFile(state.newMarkPath, end, markPermissions(state));
    path::syncDirectory(state.directory);
  });
  // A failure before the switch leaves the old file and its mark in force.
  // What the compaction wrote goes at once: on a full disk a partial ".1"
  // would hold the last free bytes that the next commits need.
  const auto removeOutput = [&] {
    out.file.close();
    TarnhiveStatus ignored;
    storeRun(&ignored, [&] {
      path::deleteFile(state.registryPath1, true);
      path::deleteFile(state.newMarkPath, true);
    });
  };
  if (!finished) {
    removeOutput();
    return false;
  }
  const bool switched = storeRun(status, [&] { switchFiles(state); });
  // A switch that was taken back leaves the old file and mark in their
  // places; the compacted file and its mark go as above.
  if (!switched && path::exists(state.registryPath) &&
      path::entryExists(commitMarkPath(state, state.commitMarkNumber))) {
    removeOutput();
  }
  if (switched) {
    state.announceChange();
    adoptCompacted(state, out, end, status);
    state.overLimitFlag = state.validEnd > state.diskLimitBytes;
  }
  return false;
}

bool compactionPays(const StoreState& state) noexcept {
  // Below this many dead bytes a compaction saves less than it costs: it
  // would rewrite and force a small file every other commit, and fold the
  // commits of a busy small registry together for the processes that follow
  // them.
  constexpr std::int64_t kLeastDeadBytesWorthCompacting = std::int64_t{1} << 20;
  if (state.blockCount == 0) return false;
  if (state.validEnd > state.diskLimitBytes) return true;
  const std::int64_t dead = state.deadBytes();
  return dead >= kLeastDeadBytesWorthCompacting && dead * 2 >= state.validEnd;
}

}  // namespace vesk::tarnhive::store
