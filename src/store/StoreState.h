// Everything the single-file store knows about its directory: the in-memory
// index of "registry.bin", the commit mark in force, the open file and the
// paths of the file set. The protocol steps (commit marks, repair, loading,
// commit, compaction) are free functions over this state; the store object
// holds it under its lock.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>

#include "store/RegistryFormat.h"
#include "vesk/orlo/StringBase.h"
#include "vesk/orlo/osdep/BinaryFile.h"
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

  // Forgets the index of the file.
  void clearIndex() {
    indexComplete = false;
    liveIndex.clear();
    deletedSet.clear();
    blockTable.clear();
  }
};

// The directory joined with a file name of the file set.
orlo::WideString storePath(const StoreState& state, const char* fileName);

}  // namespace vesk::tarnhive::store
