// A range of "registry.bin" read into memory with one read, and the fields
// read from it. Reading a block's index, or a whole block, this way costs
// one system call instead of one per field. Fields that lie outside the
// range read as zero bytes, as fields beyond the end of the file do, so the
// range checks of the readers judge them the same way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vesk/orlo/osdep/BinaryFile.h"
#include "vesk/tarnhive/Digest.h"

namespace vesk::tarnhive::store {

class FileImage {
 public:
  FileImage() = default;
  // The bytes [from, to) of the file; what lies beyond its end reads as 0.
  // A failed read throws the OS exception.
  FileImage(orlo::osdep::BinaryFile& file, std::int64_t from, std::int64_t to);
  // An image of bytes already in memory that stand at `base` in the file.
  FileImage(std::int64_t base, std::vector<std::uint8_t> bytes)
      : base_(base), bytes_(std::move(bytes)) {}

  std::int64_t i64At(std::int64_t at) const noexcept;
  std::uint32_t u32At(std::int64_t at) const noexcept;
  Digest digestAt(std::int64_t at) const;
  // The `count` bytes at `at`, or null when they are not all in the image.
  const std::uint8_t* bytesAt(std::int64_t at, std::int64_t count) const noexcept;

  std::int64_t base() const noexcept { return base_; }
  std::int64_t end() const noexcept { return base_ + static_cast<std::int64_t>(bytes_.size()); }
  const std::vector<std::uint8_t>& bytes() const noexcept { return bytes_; }

 private:
  // Copies the field at `at` into `out`, zero where it is outside.
  void copyField(std::int64_t at, std::uint8_t* out, std::size_t count) const noexcept;

  std::int64_t base_ = 0;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace vesk::tarnhive::store
