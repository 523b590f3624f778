// Everything the single-file store knows about its directory: the in-memory
// index of "registry.bin", the commit mark in force, the open file and the
// paths of the file set. The protocol steps (commit marks, repair, loading,
// commit, compaction) are free functions over this state; the store object
// holds it under its lock.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <set>

#include "store/RegistryFormat.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/orlo/osdep/BinaryFile.h"
#include "vesk/orlo/osdep/SharedSequence.h"
#include "vesk/tarnhive/Digest.h"

namespace vesk::tarnhive::store {

using LiveIndex = std::map<Digest, RecordLocation>;
using DeletedSet = std::set<Digest>;
using BlockTable = std::map<std::uint32_t, std::unique_ptr<BlockDescriptor>>;

struct StoreState {
  std::uint32_t openMode = 0;
  LiveIndex liveIndex;
  DeletedSet deletedSet;
  orlo::WideString directory;
  bool isOpen = false;
  orlo::WideString registryPath;
  orlo::osdep::BinaryFile file;
  std::int64_t fileSize = 0;
  std::int64_t loadCursor = 0;
  std::uint32_t blockCount = 0;
  BlockTable blockTable;
  std::int64_t commitMarkNumber = 0;
  std::int64_t validEnd = 0;
  orlo::WideString registryPath1;
  orlo::WideString registryPath2;
  orlo::WideString newMarkPath;
  orlo::WideString oldMarkPath;
  bool resetFlag = false;
  bool overLimitFlag = false;
  std::int64_t indexLimitBytes = 0;
  // "DiskMaxRegistryFileSizeKB" in bytes, as a 32-bit signed shift by 10.
  std::int32_t diskLimitBytes = 0;
  // Set when a compaction put its file in place but could not take its
  // index: the index is loaded again before the next use.
  bool indexStale = false;
  // The literal write mode: every piece of a block flushed on its own.
  bool flushEveryWrite = false;
  // Set while liveIndex holds every live bucket of the file (after a full
  // load or a compaction): a name it does not hold is absent.
  bool indexComplete = false;
  // The bytes that the live records and their index entries take: what a
  // compacted file holds, less the block's fixed part.
  std::int64_t liveBytes = 0;
  // The commit sequence that the processes using this directory share
  // (null when the shared memory could not be had: every look then counts
  // as a change), and its value when the index was last brought up to date
  // with the files.
  std::unique_ptr<orlo::osdep::SharedSequence> sequence;
  std::atomic<std::uint64_t> seenSequence{0};

  // Forgets the index of the file.
  void clearIndex() {
    indexComplete = false;
    liveIndex.clear();
    deletedSet.clear();
    blockTable.clear();
    liveBytes = 0;
  }

  // Puts `location` in liveIndex for `digest` in place of an older one,
  // keeping liveBytes.
  void putLive(const Digest& digest, const RecordLocation& location);
  // Takes `digest` out of liveIndex, keeping liveBytes.
  void eraseLive(const Digest& digest);
  // The bytes of the file that a compaction would drop: superseded and
  // deleted records, and the index and fixed part of every block but one.
  std::int64_t deadBytes() const noexcept;
  // True when the index is current with the shared sequence: no process
  // committed or compacted since this one last looked. One atomic load.
  bool isCurrent() const noexcept {
    return sequence && sequence->load() == seenSequence.load(std::memory_order_acquire);
  }
  // Marks the index current with the shared sequence as it stands.
  // REQUIRES: the machine-wide lock, so that nobody moves it meanwhile.
  void markCurrent() noexcept {
    if (sequence) seenSequence.store(sequence->load(), std::memory_order_release);
  }
  // Counts a commit or compaction whose mark is in force, for every
  // process. REQUIRES: the machine-wide lock.
  void announceChange() noexcept {
    if (sequence) seenSequence.store(sequence->advance(), std::memory_order_release);
  }
};

// The directory joined with a file name of the file set.
orlo::WideString storePath(const StoreState& state, const char* fileName);

}  // namespace vesk::tarnhive::store
