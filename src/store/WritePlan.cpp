#include "store/WritePlan.h"

#include <cstring>

#include "store/RegistryIo.h"

namespace vesk::tarnhive::store {

std::uint8_t* WritePlan::piece(std::int64_t at, std::size_t count) {
  const auto offset = static_cast<std::size_t>(at - base_);
  if (offset + count > bytes_.size()) bytes_.resize(offset + count, 0);
  pieces_.emplace_back(offset, count);
  return bytes_.data() + offset;
}

void WritePlan::putBytes(std::int64_t at, const void* data, std::size_t count) {
  std::memcpy(piece(at, count), data, count);
}

void WritePlan::putI64(std::int64_t at, std::int64_t value) {
  std::uint8_t* field = piece(at, 8);
  const auto bits = static_cast<std::uint64_t>(value);
  for (int i = 0; i < 8; ++i) field[i] = static_cast<std::uint8_t>(bits >> (8 * i));
}

void WritePlan::putU32(std::int64_t at, std::uint32_t value) {
  std::uint8_t* field = piece(at, 4);
  for (int i = 0; i < 4; ++i) field[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

void WritePlan::putDigest(std::int64_t at, const Digest& digest) {
  putBytes(at, digest.bytes(), Digest::kSize);
}

Digest WritePlan::checksum(std::int64_t from, std::int64_t to) const {
  return checksumOfBytes(bytes_.data() + (from - base_), static_cast<std::size_t>(to - from));
}

void WritePlan::writeTo(orlo::osdep::BinaryFile& file, bool flushEveryWrite) const {
  if (!flushEveryWrite) {
    writeBytesAt(file, base_, bytes_.data(), bytes_.size());
    file.flush();
    return;
  }
  resizeFile(file, end());
  for (const auto& [offset, count] : pieces_) {
    writeAt(file, base_ + static_cast<std::int64_t>(offset), bytes_.data() + offset, count);
  }
}

}  // namespace vesk::tarnhive::store
