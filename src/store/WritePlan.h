// The bytes of a commit block, or of a whole compacted file, built in memory
// before anything is written, with the pieces in which they are written.
//
// Two ways to write a plan, with the same bytes on disk and the same
// outcome of a crash at any point (the new bytes count only once a commit
// mark names them):
//  - the default: one write of all the bytes, then one flush to disk;
//  - the literal mode ("FlushEveryWrite"): the file is first extended, then
//    every piece is written and flushed on its own, in the order in which
//    the plan recorded them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "vesk/orlo/osdep/BinaryFile.h"
#include "vesk/tarnhive/Digest.h"

namespace vesk::tarnhive::store {

class WritePlan {
 public:
  // A plan of `size` zero bytes that stand at `base` in the file.
  WritePlan(std::int64_t base, std::size_t size) : base_(base), bytes_(size, 0) {}

  // Puts a field at the absolute offset `at` and records it as a piece.
  void putBytes(std::int64_t at, const void* data, std::size_t count);
  void putI64(std::int64_t at, std::int64_t value);
  void putU32(std::int64_t at, std::uint32_t value);
  void putDigest(std::int64_t at, const Digest& digest);
  // Records `count` bytes at `at` as a piece; the caller fills them.
  std::uint8_t* piece(std::int64_t at, std::size_t count);
  // Makes room for a plan of `size` bytes without changing it.
  void reserve(std::size_t size) { bytes_.reserve(size); }
  // Appends `count` zero bytes to the end of the plan.
  void grow(std::size_t count) { bytes_.resize(bytes_.size() + count, 0); }

  std::int64_t base() const noexcept { return base_; }
  std::int64_t end() const noexcept { return base_ + static_cast<std::int64_t>(bytes_.size()); }
  std::vector<std::uint8_t>& bytes() noexcept { return bytes_; }

  // The SHA-256 of the plan's bytes [from, to), absolute offsets.
  Digest checksum(std::int64_t from, std::int64_t to) const;

  // Writes the plan into `file` in either way, and flushes it to disk. A
  // failed write or flush throws the OS exception.
  void writeTo(orlo::osdep::BinaryFile& file, bool flushEveryWrite) const;

 private:
  std::int64_t base_;
  std::vector<std::uint8_t> bytes_;
  std::vector<std::pair<std::size_t, std::size_t>> pieces_;  // offset in bytes_, count
};

}  // namespace vesk::tarnhive::store
