// What the files of a registry directory hold, as `tarnhive info` shows it:
// the commit mark in force, the valid end, the number of blocks, live
// buckets and dead bytes, and each file of the file set with its size (a
// commit mark with its text).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/StoreState.h"

namespace vesk::tarnhive::store {

struct FileSetDescription {
  std::int64_t commitMark = 0;
  std::int64_t validEnd = 0;
  std::int64_t blocks = 0;
  std::int64_t buckets = 0;
  std::int64_t deadBytes = 0;
  struct File {
    std::string name;
    bool isMark;
    std::int64_t size;
    std::string text;  // a mark's first line
  };
  std::vector<File> files;
};

FileSetDescription describeFileSet(const StoreState& state);

// Copies the registry, as the store has it in force, to `destination` (made
// when missing): "registry.bin" up to the valid end, forced to disk, and
// "commitmark.1" naming its length. REQUIRES: the machine-wide lock.
void copyFileSet(StoreState& state, const orlo::WideString& destination);

}  // namespace vesk::tarnhive::store
