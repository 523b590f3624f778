// What the fuzz targets share: reading every part of a value or a bucket
// through its interface (so that a damaged record that was accepted is used
// the way clients use it), whole records, the check that stops a run on a
// broken promise, and scratch directories on a memory file system.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "vesk/tarnhive/IBucket.h"
#include "vesk/tarnhive/IBucketValue.h"

namespace vesk::tarnhive::fuzz {

using Bytes = std::vector<std::uint8_t>;

// Ends the run with the message when `holds` is false: libFuzzer keeps the
// input as a crash reproducer.
void expect(bool holds, const char* what);

// Reads the value through every getter of its kind (each element, the whole
// array, the text form) and one getter of another kind, and checks what the
// getters promise: element counts agree, indexes past the end are refused.
void readValue(IBucketValue& value);

// Reads the bucket's names and digests, every value (readValue), every child
// link and the values again by name.
void readBucket(IBucket& bucket);

// True when every value of the bucket equals itself: none is of an unknown
// kind (handed out as a kNOTSET copy) or holds a NaN, which compare unequal
// by design.
bool comparesEqualToItself(IBucket& bucket);

// The whole record of a bucket or a value; serializationSize must be exact.
template <class T>
Bytes recordOf(T& object) {
  Bytes out(object.serializationSize());
  std::uint8_t* cursor = out.data();
  object.serialize(cursor, out.data() + out.size());
  expect(cursor == out.data() + out.size(), "serialize writes serializationSize bytes");
  return out;
}

// Reads `record` into `object`; the read must succeed and consume every
// byte. The bytes are read from a heap block of their exact size, so that a
// read past the end is caught by the address sanitizer.
template <class T>
void readWhole(T& object, const Bytes& record) {
  std::vector<std::uint8_t> block(record);
  const std::uint8_t* cursor = block.data();
  object.deserialize(cursor, block.data() + block.size());
  expect(cursor == block.data() + block.size(), "a record written is read to its end");
}

// A directory of this process's own, on the memory file system when there is
// one (the registry flushes its files, which costs nothing there), removed
// when the process ends normally.
class ScratchDirectory {
 public:
  explicit ScratchDirectory(const std::string& purpose);
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // Removes everything inside, keeping the directory.
  void clear() const;

 private:
  std::filesystem::path path_;
};

// Points the registry's machine-wide lock (VESK_TARNHIVE_LOCK_DIR) at a
// scratch directory of this process, so that fuzzing never contends with
// registries in use on the machine. Call once, before any manager is made.
void useOwnLockDirectory();

}  // namespace vesk::tarnhive::fuzz
