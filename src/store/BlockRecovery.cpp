#include "store/BlockRecovery.h"

#include <cstring>
#include <vector>

#include "store/RegistryFormat.h"
#include "store/RegistryIo.h"

namespace vesk::tarnhive::store {
namespace {

std::int64_t i64In(const std::vector<std::uint8_t>& bytes, std::int64_t at) {
  std::uint64_t value = 0;
  for (int i = 7; i >= 0; --i) value = (value << 8) | bytes[static_cast<std::size_t>(at + i)];
  return static_cast<std::int64_t>(value);
}

// The end of the complete block that starts at `start`, or -1.
std::int64_t completeBlockAt(const std::vector<std::uint8_t>& bytes, std::int64_t start) {
  const auto size = static_cast<std::int64_t>(bytes.size());
  if (size - start < kBlockOverhead) return -1;
  const std::int64_t trailer = i64In(bytes, start);
  const std::int64_t index = i64In(bytes, start + 8);
  if (trailer < start + kBlockOverhead - kBlockStartFromEnd || trailer > size - kBlockStartFromEnd) {
    return -1;
  }
  const std::int64_t end = trailer + kBlockStartFromEnd;
  if (index < start + kBlockHeaderSize || index > trailer) return -1;
  if (i64In(bytes, trailer) != start) return -1;
  if (std::memcmp(bytes.data() + trailer + 8, kBlockMarker, kMarkerSize) != 0) return -1;
  const std::int64_t checksumAt = end - kChecksumFromEnd;
  const unsigned char* cursor = bytes.data() + checksumAt;
  const Digest stored(cursor, cursor + Digest::kSize);
  const Digest computed = checksumOfBytes(bytes.data() + start,
                                          static_cast<std::size_t>(checksumAt - 1 - start));
  return stored == computed ? end : -1;
}

}  // namespace

std::int64_t lastCompleteBlockEnd(orlo::osdep::BinaryFile& file, std::int64_t fileSize) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(fileSize));
  readAt(file, 0, bytes.data(), bytes.size());
  std::int64_t end = 0;
  for (std::int64_t next = completeBlockAt(bytes, 0); next > 0; next = completeBlockAt(bytes, end)) {
    end = next;
  }
  return end;
}

}  // namespace vesk::tarnhive::store
