#include "store/BlockRecovery.h"

#include <cstring>

#include "store/FileImage.h"
#include "store/RegistryFormat.h"
#include "store/RegistryIo.h"

namespace vesk::tarnhive::store {
namespace {

// The end of the complete block that starts at `start`, or -1.
std::int64_t completeBlockAt(const FileImage& file, std::int64_t start) {
  if (file.end() - start < kBlockOverhead) return -1;
  const std::int64_t trailer = file.i64At(start);
  const std::int64_t index = file.i64At(start + 8);
  if (trailer < start + kBlockOverhead - kBlockStartFromEnd ||
      trailer > file.end() - kBlockStartFromEnd) {
    return -1;
  }
  const std::int64_t end = trailer + kBlockStartFromEnd;
  if (index < start + kBlockHeaderSize || index > trailer) return -1;
  if (file.i64At(trailer) != start) return -1;
  if (std::memcmp(file.bytesAt(trailer + 8, kMarkerSize), kBlockMarker, kMarkerSize) != 0) {
    return -1;
  }
  const std::int64_t checksumAt = end - kChecksumFromEnd;
  const std::uint8_t* block = file.bytesAt(start, checksumAt - 1 - start);
  const Digest computed = checksumOfBytes(block, static_cast<std::size_t>(checksumAt - 1 - start));
  return file.digestAt(checksumAt) == computed ? end : -1;
}

}  // namespace

bool endsABlock(orlo::osdep::BinaryFile& file, std::int64_t fileSize, std::int64_t end) {
  if (end == 0) return true;
  if (end < kBlockOverhead || end > fileSize) return false;
  const std::int64_t trailer = end - kBlockStartFromEnd;
  const std::int64_t start = readI64At(file, trailer);
  if (start < 0 || start > end - kBlockOverhead) return false;
  const FileImage header(file, start, start + kBlockHeaderSize);
  const std::int64_t index = header.i64At(start + 8);
  return header.i64At(start) == trailer && index >= start + kBlockHeaderSize && index <= trailer;
}

std::int64_t lastCompleteBlockEnd(orlo::osdep::BinaryFile& file, std::int64_t fileSize) {
  const FileImage image(file, 0, fileSize);
  std::int64_t end = 0;
  for (std::int64_t next = completeBlockAt(image, 0); next > 0; next = completeBlockAt(image, end)) {
    end = next;
  }
  return end;
}

}  // namespace vesk::tarnhive::store
