#include "store/FileImage.h"

#include <cstring>

#include "store/RegistryIo.h"

namespace vesk::tarnhive::store {

FileImage::FileImage(orlo::osdep::BinaryFile& file, std::int64_t from, std::int64_t to)
    : base_(from), bytes_(static_cast<std::size_t>(to > from ? to - from : 0)) {
  if (!bytes_.empty()) readAt(file, from, bytes_.data(), bytes_.size());
}

void FileImage::copyField(std::int64_t at, std::uint8_t* out, std::size_t count) const noexcept {
  const std::int64_t offset = at - base_;
  if (offset >= 0 && static_cast<std::size_t>(offset) + count <= bytes_.size()) {
    std::memcpy(out, bytes_.data() + offset, count);
    return;
  }
  // A field that runs off the image reads as zeros where it does.
  for (std::size_t i = 0; i < count; ++i) {
    const std::int64_t position = at + static_cast<std::int64_t>(i) - base_;
    out[i] = position >= 0 && position < static_cast<std::int64_t>(bytes_.size())
                 ? bytes_[static_cast<std::size_t>(position)]
                 : 0;
  }
}

std::int64_t FileImage::i64At(std::int64_t at) const noexcept {
  std::uint8_t field[8];
  copyField(at, field, sizeof field);
  std::uint64_t value = 0;
  for (int i = 7; i >= 0; --i) value = (value << 8) | field[i];
  return static_cast<std::int64_t>(value);
}

std::uint32_t FileImage::u32At(std::int64_t at) const noexcept {
  std::uint8_t field[4];
  copyField(at, field, sizeof field);
  return std::uint32_t{field[0]} | std::uint32_t{field[1]} << 8 | std::uint32_t{field[2]} << 16 |
         std::uint32_t{field[3]} << 24;
}

Digest FileImage::digestAt(std::int64_t at) const {
  unsigned char field[Digest::kSize];
  copyField(at, field, sizeof field);
  const unsigned char* cursor = field;
  return Digest(cursor, field + sizeof field);
}

const std::uint8_t* FileImage::bytesAt(std::int64_t at, std::int64_t count) const noexcept {
  // Compared as distances, so that a count near the largest offset (read
  // from a damaged file) cannot overflow.
  if (at < base_ || count < 0 || at > end() || count > end() - at) return nullptr;
  return bytes_.data() + (at - base_);
}

}  // namespace vesk::tarnhive::store
